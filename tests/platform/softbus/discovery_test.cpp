// How devices find each other, and how they leave the list.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/base/files.h"
#include "platform/base/host_port.h"
#include "platform/softbus/discovery/announcements.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/trail.h"

namespace Vexo::SoftBus::Tests {
namespace {

class DiscoveryTest : public testing::Test {
protected:
    bool PhoneIs(bool online, const sptr<SoftBusServer>& at) const
    {
        return Eventually([&] { return SeesOnline(at, phone.networkId) == online; });
    }

    Trust::Tests::Devices account;
    Trust::Identity phone = account.Enrol("phone");
    Trust::Identity laptop = account.Enrol("laptop");
    Vexo::Tests::TempFolder folder;
};

TEST_F(DiscoveryTest, DevicesMeetByOneAddressAndAgainAfterARestart)
{
    SoftBusOptions options;
    options.deviceTypeId = DEVICE_TYPE_PHONE;
    auto phoneBus = StartBus(phone, "phone", {}, options);
    options.listenAddress = phoneBus->ListenAddress();
    SoftBusOptions kept;
    kept.knownDevicesFile = folder.Path() / KNOWN_DEVICES_FILE;
    auto laptopBus = StartBus(laptop, "laptop", {options.listenAddress}, kept);
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    phoneBus->Stop();
    ASSERT_TRUE(PhoneIs(false, laptopBus));
    phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(PhoneIs(true, laptopBus));

    laptopBus->Stop();
    laptopBus = StartBus(laptop, "laptop", {}, kept);
    EXPECT_TRUE(Meet(laptopBus, phoneBus)) << "without an address";
    laptopBus->Stop();
    phoneBus->Stop();
    laptopBus = StartBus(laptop, "laptop", {}, kept);
    const auto nodes = laptopBus->Nodes();
    ASSERT_EQ(nodes.size(), 1u) << "known, and a device does not list itself";
    EXPECT_EQ(nodes[0].deviceName + " " + nodes[0].transport + " " + nodes[0].address,
              "phone tcp " + options.listenAddress);
    EXPECT_EQ(nodes[0].deviceId, phone.deviceId);
    EXPECT_EQ(nodes[0].deviceTypeId, DEVICE_TYPE_PHONE);

    Recorder& atLaptop = Listener<0>::Events();
    atLaptop.Clear();
    ASSERT_EQ(laptopBus->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    const auto open = [&] {
        const int id = laptopBus->OpenSession(NAME, NAME, phone.networkId, ByteSession());
        return id > 0 ? atLaptop.WaitFor(Kind::OPENED, id).result : id;
    };
    EXPECT_EQ(laptopBus->OpenSession(NAME, NAME, std::string(64, 'e'), ByteSession()), SOFTBUS_NO_SUCH_PEER);
    EXPECT_EQ(open(), SOFTBUS_NO_LINK) << "away, but tried";
    phoneBus = StartBus(phone, "phone", {}, options);
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    EXPECT_EQ(open(), SOFTBUS_OK);
    EXPECT_FALSE(SeesOnline(laptopBus, phone.networkId)) << "the session needed no presence connection";
    EXPECT_GT(laptopBus->Nodes()[0].lastSeenMs, nodes[0].lastSeenMs);
}

TEST_F(DiscoveryTest, AnnouncementsBringDevicesTogetherAndUnusableOnesAreIgnoredWithOneLine)
{
    const Vexo::Tests::LogCapture log;
    SoftBusOptions options;
    options.announceFolder = folder.Path();
    const auto nameOf = [](char digit) { return std::string(64, digit) + ".json"; };
    const auto makeFifo = [&](char digit) { return ::mkfifo((folder.Path() / nameOf(digit)).c_str(), 0600); };
    std::ofstream(folder.Path() / nameOf('d')) << "{\"version\": 1";
    std::ofstream(folder.Path() / ".half-written.tmp") << "{";
    ASSERT_EQ(makeFifo('a'), 0);  // opening a FIFO would wait for a writer
    const auto laptopBus = StartBus(laptop, "laptop", {}, options);
    EXPECT_EQ(log.Count(nameOf('a') + " ignored"), 1u);
    ASSERT_EQ(makeFifo('b'), 0);
    EXPECT_TRUE(log.WaitFor(nameOf('b') + " ignored"));
    ASSERT_TRUE(WriteFileAtomically(folder.Path() / nameOf('e'),
                                    EncodeAnnouncement({std::string(64, 'd'), {"tcp", "127.0.0.1:9"}}), 0644));
    const auto phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(Meet(laptopBus, phoneBus));
    EXPECT_EQ(log.Count(nameOf('d') + " ignored: it is not a JSON object"), 2u) << "one line at each device";
    EXPECT_TRUE(log.WaitFor("it names another device", 2));
    EXPECT_EQ(log.Count("half-written"), 0u);

    const auto file = folder.Path() / (phone.networkId + ".json");
    EXPECT_TRUE(std::filesystem::exists(file));
    phoneBus->Stop();
    EXPECT_FALSE(std::filesystem::exists(file)) << "it announces itself no longer";
    EXPECT_TRUE(PhoneIs(false, laptopBus));
}

TEST_F(DiscoveryTest, RecreatedAnnounceFolderBringsDevicesTogether)
{
    SoftBusOptions options;
    options.announceFolder = folder.Path() / "announced";
    const auto laptopBus = StartBus(laptop, "laptop", {}, options);
    const auto file = options.announceFolder / (laptop.networkId + ".json");
    ASSERT_TRUE(std::filesystem::exists(file));
    std::filesystem::remove_all(options.announceFolder);
    std::filesystem::create_directory(options.announceFolder);
    EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(file); })) << "it announces itself again";
    const auto phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(Meet(laptopBus, phoneBus));
}

TEST_F(DiscoveryTest, AnnouncementsAreGoneWithTheirFolder)
{
    const Announcement own{laptop.networkId, {"tcp", "127.0.0.1:1"}};
    const auto announced = folder.Path() / "announced";
    std::filesystem::create_directory(announced);
    const auto file = announced / (phone.networkId + ".json");
    const std::string text = EncodeAnnouncement({phone.networkId, {"tcp", "127.0.0.1:2"}});
    ASSERT_TRUE(WriteFileAtomically(file, text, 0644));
    Vexo::Tests::Trail<std::string> changes;
    const auto made = Announcements::Start(
        announced, own, [&](const std::string&, const auto& where) { changes.Add(where ? "there" : "gone"); });
    ASSERT_TRUE(made) << made.error().message;
    EXPECT_EQ(changes.WaitFor(1).back(), "there");
    std::filesystem::rename(announced, folder.Path() / "elsewhere");
    EXPECT_TRUE(Eventually([&] { return changes.WaitFor(0).back() == "gone"; }));
    std::filesystem::rename(folder.Path() / "elsewhere", announced);
    EXPECT_TRUE(Eventually([&] { return changes.WaitFor(0).back() == "there"; }));
}

TEST_F(DiscoveryTest, ADeviceThatListensEverywhereIsReachedWhereItWasSeenAndDoesNotMeetItself)
{
    SoftBusOptions everywhere;
    everywhere.listenAddress = "0.0.0.0:0";
    const auto probe = StartBus(laptop, "laptop", {}, everywhere);
    const std::string port = ":" + std::to_string(ParseHostPort(probe->ListenAddress()).value().port);
    probe->Stop();
    everywhere.listenAddress = "0.0.0.0" + port;
    const auto phoneBus = StartBus(phone, "phone");
    const auto laptopBus = StartBus(laptop, "laptop", {"127.0.0.1" + port, phoneBus->ListenAddress()}, everywhere);
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    EXPECT_EQ(laptopBus->Nodes().size(), 1u);
    EXPECT_EQ(laptopBus->Counts().presenceLinks, 1u);

    ASSERT_EQ(laptopBus->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    Recorder& atPhone = Listener<1>::Events();
    atPhone.Clear();
    const int id = phoneBus->OpenSession(NAME, NAME, laptop.networkId, ByteSession());
    EXPECT_EQ(atPhone.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_F(DiscoveryTest, UnusableOptionsAreRefusedAtTheStart)
{
    const auto busy = StartBus(phone, "phone");
    std::ofstream(folder.Path() / "file") << "x";
    const struct {
        const char* expected;
        std::function<void(SoftBusOptions&)> change;
    } cases[] = {
        {"cannot listen on", [&](SoftBusOptions& o) { o.listenAddress = busy->ListenAddress(); }},
        {"has no numeric host", [](SoftBusOptions& o) { o.listenAddress = "localhost:0"; }},
        {"has port 0", [](SoftBusOptions& o) { o.peerAddresses = {"phone.example:0"}; }},
        {"is not HOST:PORT", [](SoftBusOptions& o) { o.peerAddresses = {"::1:80"}; }},
        {"announce folder", [&](SoftBusOptions& o) { o.announceFolder = folder.Path() / "file"; }},
        {"device name", [](SoftBusOptions& o) { o.deviceName.clear(); }},
    };
    for (const auto& c : cases) {
        SoftBusOptions options;
        options.deviceName = "laptop";
        c.change(options);
        const auto started = SoftBusServer::Start(laptop, options);
        ASSERT_FALSE(started) << c.expected;
        EXPECT_NE(started.error().message.find(c.expected), std::string::npos) << started.error().message;
    }
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
