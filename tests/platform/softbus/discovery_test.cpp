// Tests how devices find each other, and how devices go offline in the list of devices.
#include <asio/post.hpp>
#include <atomic>
#include <filesystem>
#include <fstream>

#include "platform/base/hex.h"
#include "platform/base/host_port.h"
#include "platform/softbus/discovery/finder.h"
#include "platform/softbus/discovery/route.h"
#include "platform/softbus/transport/tcp_transport.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

using namespace std::chrono_literals;

constexpr const char* RADIO = "radio";

// A TCP transport that acts like a radio. The addresses of devices change, so the soft bus must seek the devices.
class TestRadio : public TcpTransport {
public:
    // bound: receives the address at which the radio listens. failures: how many of the next connects fail.
    TestRadio(asio::io_context& reactor, std::string& bound, std::atomic<int>& failures)
        : TcpTransport(reactor, "127.0.0.1:0"), reactor_(reactor), bound_(bound), failures_(failures)
    {
    }
    std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit, Connected done) override
    {
        if (failures_ == 0) {
            return TcpTransport::Connect(address, limit, std::move(done));
        }
        --failures_;
        asio::post(reactor_, [done = std::move(done)] { done(Fail(ErrorCode::UNAVAILABLE, "the radio failed")); });
        return nullptr;
    }
    std::string Name() const override { return RADIO; }
    bool SupportsLinkType(LinkType type) const override { return type == LINK_TYPE_BR; }
    bool HasStableAddresses() const override { return false; }
    Result<std::string> Listen(Accepted accepted) override
    {
        bound_ = TcpTransport::Listen(std::move(accepted)).value();
        return std::string();
    }

private:
    asio::io_context& reactor_;
    std::string& bound_;
    std::atomic<int>& failures_;
};

// A channel that reports only the announcements that the test passes to Hear().
class TestChannel : public AnnouncementChannel {
public:
    explicit TestChannel(std::string transport = "tcp") : transport_(std::move(transport)) {}

    std::string Name() const override { return "test"; }
    std::string TransportName() const override { return transport_; }
    std::shared_ptr<void> Seek() override
    {
        if (!onSeek) {
            return nullptr;
        }
        onSeek();
        ++*seekers;
        return {this, [count = seekers](void*) { --*count; }};
    }
    Result<void> Start(const std::string& /*token*/, IsOurs isOurs, Heard heard) override
    {
        isOurs_ = std::move(isOurs);
        heard_ = std::move(heard);
        return {};
    }
    void Announce(const std::string& /*token*/) override {}
    void Withdraw() override {}

    // Reports an announcement to the soft bus. Returns whether the soft bus recognises the token as a token of its
    // account.
    bool Hear(const std::string& name, const std::string& token, const std::vector<std::string>& addresses)
    {
        Announcement announcement{token, {}};
        for (const std::string& address : addresses) {
            announcement.addresses.push_back({transport_, address});
        }
        heard_(name, announcement);
        return isOurs_(token);
    }
    void HearTheEnd(const std::string& name) { heard_(name, std::nullopt); }

    std::function<void()> onSeek;
    const std::shared_ptr<std::atomic<int>> seekers = std::make_shared<std::atomic<int>>(0);

private:
    const std::string transport_;
    IsOurs isOurs_;
    Heard heard_;
};

class DiscoveryTest : public testing::Test {
protected:
    bool PhoneIs(bool online, const sptr<SoftBusServer>& at) const
    {
        return Eventually([&] { return SeesOnline(at, phone.networkId) == online; });
    }
    // Starts the soft bus of the laptop with a TestChannel.
    sptr<SoftBusServer> StartLaptop()
    {
        SoftBusOptions options;
        options.channels = {[this](const std::string&) {
            auto made = std::make_unique<TestChannel>();
            channel = made.get();
            return made;
        }};
        return StartBus(laptop, "laptop", {}, options);
    }
    static std::string TokenOf(const Trust::Identity& identity, const std::string& transport = "tcp")
    {
        return Trust::AnnouncementTokens::Make(*identity.linkKeys, transport).value()->MakeToken(identity.networkId);
    }
    // Returns options with a TestRadio. bound: receives the address at which the radio listens.
    SoftBusOptions WithRadio(std::string& bound)
    {
        SoftBusOptions options;
        options.moreTransports = {[this, &bound](asio::io_context& reactor) {
            return std::make_shared<TestRadio>(reactor, bound, radioFailures);
        }};
        return options;
    }
    // Starts the soft bus of the laptop with a TestRadio and with a TestChannel for that radio.
    sptr<SoftBusServer> StartRadioLaptop(const std::vector<std::string>& peers = {})
    {
        SoftBusOptions options = WithRadio(laptopRadio);
        options.channels = {[this](const std::string&) {
            auto made = std::make_unique<TestChannel>(RADIO);
            channel = made.get();
            return made;
        }};
        return StartBus(laptop, "laptop", peers, options);
    }
    // Opens a session from the laptop to the phone. Returns the result of the open.
    int Open(const sptr<SoftBusServer>& bus, const SessionAttribute& attribute = ByteSession())
    {
        Recorder& atLaptop = Listener<0>::Events();
        atLaptop.Clear();
        EXPECT_EQ(bus->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
        const int id = bus->OpenSession(NAME, NAME, phone.networkId, attribute);
        return id > 0 ? atLaptop.WaitFor(Kind::OPENED, id).result : id;
    }

    std::atomic<int> radioFailures{0};
    Trust::Tests::Devices account;
    Trust::Identity phone = account.Enrol("phone");
    Trust::Identity laptop = account.Enrol("laptop");
    Vexo::Tests::TempFolder folder;
    TestChannel* channel = nullptr;
    std::string laptopRadio;
};

TEST_F(DiscoveryTest, DevicesMeetByOneAddressAndAgainAfterRestart)
{
    SoftBusOptions options;
    options.deviceTypeId = DEVICE_TYPE_PHONE;
    options.knownDevicesFile = folder.Path() / "phones";
    auto phoneBus = StartBus(phone, "phone", {}, options);
    options.listenAddress = phoneBus->ListenAddress();
    SoftBusOptions kept;
    kept.knownDevicesFile = folder.Path() / "laptops";
    auto laptopBus = StartBus(laptop, "laptop", {options.listenAddress}, kept);
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    phoneBus->Stop();
    ASSERT_TRUE(PhoneIs(false, laptopBus)) << "it said goodbye";
    phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(PhoneIs(true, laptopBus)) << "it greets those that it knows";

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

    EXPECT_EQ(laptopBus->OpenSession(NAME, NAME, std::string(64, 'e'), ByteSession()), SOFTBUS_NO_SUCH_PEER);
    EXPECT_EQ(Open(laptopBus), SOFTBUS_NO_LINK) << "away, but tried";
    options.knownDevicesFile.clear();
    phoneBus = StartBus(phone, "phone", {}, options);
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    EXPECT_FALSE(SeesOnline(laptopBus, phone.networkId)) << "it knows nobody that it could greet";
    EXPECT_EQ(Open(laptopBus), SOFTBUS_OK);
    EXPECT_TRUE(SeesOnline(laptopBus, phone.networkId));
}

TEST_F(DiscoveryTest, DevicesSharingFolderMeetAndRemoveOldFiles)
{
    SoftBusOptions options;
    options.announceFolder = folder.Path();
    Trust::Tests::Calendar lastMonth;
    lastMonth.date = Clock::System().WallNow() - 24h * 30;
    const std::string old =
        Trust::AnnouncementTokens::Make(*laptop.linkKeys, "tcp", lastMonth).value()->MakeToken(laptop.networkId);
    const auto left =
        folder.Path() / (HexOf({reinterpret_cast<const uint8_t*>(old.data()), old.size()}) + "-01234567.json");
    std::ofstream(left) << "crashed";
    std::filesystem::last_write_time(left, std::chrono::file_clock::from_sys(lastMonth.date));
    const auto laptopBus = StartBus(laptop, "laptop", {}, options);
    const auto phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(Meet(laptopBus, phoneBus));
    phoneBus->Stop();
    EXPECT_TRUE(PhoneIs(false, laptopBus));
    const auto files = std::filesystem::directory_iterator(folder.Path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "the phone announces itself no longer";
}

TEST_F(DiscoveryTest, UnknownDeviceIsGreetedOnceAtItsAnnouncedAddress)
{
    const auto phoneBus = StartBus(phone, "phone");
    const auto laptopBus = StartLaptop();
    const auto strangers = Trust::Tests::Devices().Enrol("stranger");
    EXPECT_FALSE(channel->Hear("stranger", TokenOf(strangers), {phoneBus->ListenAddress()}));
    EXPECT_TRUE(channel->Hear("laptop", TokenOf(laptop), {laptopBus->ListenAddress()})) << "its own";
    EXPECT_TRUE(laptopBus->Nodes().empty());
    // The announcement has three addresses. Nothing listens at the first one, the second one is invalid, and the third
    // one is good.
    EXPECT_TRUE(channel->Hear("phone", TokenOf(phone), {"127.0.0.1:1", "nonsense", phoneBus->ListenAddress()}));
    EXPECT_TRUE(Meet(laptopBus, phoneBus));

    const Vexo::Tests::LogCapture log;
    phoneBus->Stop();
    EXPECT_TRUE(log.WaitFor("is away")) << "its goodbye counts although it is announced";
    channel->Hear("phone", TokenOf(phone), {"127.0.0.1:1"});
    EXPECT_TRUE(PhoneIs(true, laptopBus)) << "announced anew";
    channel->HearTheEnd("phone");
    EXPECT_TRUE(PhoneIs(false, laptopBus));
}

TEST_F(DiscoveryTest, ReplayedTokenDoesNotHideDeviceAndIsNotRetried)
{
    auto phoneBus = StartBus(phone, "phone");
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    const auto laptopBus = StartLaptop();
    channel->Hear("phone", TokenOf(phone), {phoneBus->ListenAddress()});
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    channel->HearTheEnd("phone");

    // A stranger replays the phone's token. The replayed announcements have many addresses that never answer, and one
    // address of a device of another account.
    const UniqueFd silent(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::listen(silent.Get(), 64), 0);
    sockaddr_in at{};
    socklen_t length = sizeof(at);
    ASSERT_EQ(::getsockname(silent.Get(), reinterpret_cast<sockaddr*>(&at), &length), 0);
    const auto strangerBus = StartBus(Trust::Tests::Devices().Enrol("stranger"), "stranger");
    EXPECT_TRUE(channel->Hear("replay", TokenOf(phone), {strangerBus->ListenAddress()}));
    for (int i = 2; i < 32; ++i) {
        const std::string host = "127.0.0." + std::to_string(i);
        channel->Hear(host, TokenOf(phone), {host + ":" + std::to_string(ntohs(at.sin_port))});
    }
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(Open(laptopBus), SOFTBUS_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - began, ANNOUNCED_AHEAD + 1s);
}

TEST_F(DiscoveryTest, DeviceWithoutWorkingAddressIsSoughtByRadio)
{
    std::string phoneRadio;
    auto phoneBus = StartBus(phone, "phone", {}, WithRadio(phoneRadio));
    const auto laptopBus = StartRadioLaptop({phoneBus->ListenAddress()});
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    phoneBus->Stop();
    phoneBus = StartBus(phone, "phone", {}, WithRadio(phoneRadio));
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);

    std::atomic<int> sought{0};
    channel->onSeek = [&] {
        ++sought;
        channel->Hear("phone", TokenOf(phone, RADIO), {phoneRadio});
    };
    EXPECT_EQ(Open(laptopBus), SOFTBUS_NO_LINK);
    EXPECT_EQ(sought, 0) << "its opener named no link type of the radio";
    EXPECT_EQ(Open(laptopBus, {TYPE_BYTES, 2, {LINK_TYPE_WIFI_5G, LINK_TYPE_BR}}), SOFTBUS_OK);
    EXPECT_EQ(sought, 1);
    EXPECT_EQ(*channel->seekers, 0) << "it was reached";
    EXPECT_EQ(laptopBus->Nodes()[0].transport, RADIO) << "as long as it is heard";
    channel->HearTheEnd("phone");
    EXPECT_TRUE(Eventually([&] { return laptopBus->Nodes()[0].transport == "tcp"; })) << "no radio address is kept";
}

TEST_F(DiscoveryTest, RadioConnectThatFailsIsRepeatedWithoutANewAnnouncement)
{
    std::string phoneRadio;
    const auto phoneBus = StartBus(phone, "phone", {}, WithRadio(phoneRadio));
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    const auto laptopBus = StartRadioLaptop();
    channel->onSeek = [] {};
    channel->Hear("phone", TokenOf(phone, RADIO), {phoneRadio});
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    radioFailures = 2;
    EXPECT_EQ(Open(laptopBus, {TYPE_BYTES, 1, {LINK_TYPE_BR}}), SOFTBUS_OK);
    EXPECT_EQ(radioFailures, 0);
}

TEST_F(DiscoveryTest, ScanReportsReachableDevices)
{
    auto phoneBus = StartBus(phone, "phone");
    SoftBusOptions options;
    options.listenAddress = phoneBus->ListenAddress();
    const auto laptopBus = StartBus(laptop, "laptop", {options.listenAddress});
    ASSERT_TRUE(Meet(laptopBus, phoneBus));
    const auto scan = [&] {
        Vexo::Tests::Trail<int> ends;
        laptopBus->Scan([&] { ends.Add(1); });
        return ends.WaitFor(1).size() == 1 && SeesOnline(laptopBus, phone.networkId);
    };
    EXPECT_TRUE(scan());
    phoneBus->Stop();
    EXPECT_FALSE(scan());
    phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_FALSE(SeesOnline(laptopBus, phone.networkId));
    EXPECT_TRUE(scan());
}

TEST_F(DiscoveryTest, RadioScanMeetsDeviceAnnouncedByRadioOnly)
{
    std::string phoneRadio;
    const auto phoneBus = StartBus(phone, "phone", {}, WithRadio(phoneRadio));
    const auto laptopBus = StartRadioLaptop();
    Vexo::Tests::Trail<std::chrono::steady_clock::time_point> ends;
    auto began = std::chrono::steady_clock::now();
    const auto scan = [&] {
        began = std::chrono::steady_clock::now();
        laptopBus->Scan([&] { ends.Add(std::chrono::steady_clock::now()); });
    };
    scan();
    EXPECT_LT(ends.WaitFor(1).at(0) - began, SCAN_SEEK) << "the radio is off, and no device is known";

    channel->onSeek = [] {};
    scan();
    ASSERT_TRUE(Eventually([&] { return *channel->seekers == 1; }));
    channel->Hear("phone", TokenOf(phone, RADIO), {phoneRadio});
    EXPECT_GE(ends.WaitFor(2).at(1) - began, SCAN_SEEK);
    EXPECT_LT(ends.WaitFor(2).at(1) - began, SCAN_LIMIT);
    EXPECT_TRUE(SeesOnline(laptopBus, phone.networkId));
    EXPECT_EQ(*channel->seekers, 0);
}

TEST_F(DiscoveryTest, DeviceListeningEverywhereIsReachedAndDoesNotMeetItself)
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

    ASSERT_EQ(laptopBus->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    Recorder& atPhone = Listener<1>::Events();
    atPhone.Clear();
    const int id = phoneBus->OpenSession(NAME, NAME, laptop.networkId, ByteSession());
    EXPECT_EQ(atPhone.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_F(DiscoveryTest, InvalidOptionsAreRefusedAtStart)
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
