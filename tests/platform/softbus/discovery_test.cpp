// How devices find each other, and how they leave the list.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/base/files.h"
#include "platform/softbus/announcements.h"
#include "platform/softbus/node_table.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {

namespace {

using namespace std::chrono_literals;

class DiscoveryTest : public testing::Test {
protected:
    SoftBusOptions Announcing() const
    {
        SoftBusOptions options;
        options.announceFolder = folder.Path() / "announce";
        return options;
    }

    Account account;
    Trust::Identity phone = account.NewDevice();
    Trust::Identity laptop = account.NewDevice();
    Vexo::Tests::TempFolder folder;
};

TEST_F(DiscoveryTest, OneConfiguredAddressShowsBothDevicesToEachOther)
{
    SoftBusOptions options;
    options.deviceTypeId = DEVICE_TYPE_PHONE;
    const auto phoneBus = StartBus(phone, "phone", {}, options);
    const auto laptopBus = StartBus(laptop, "laptop", {phoneBus->ListenAddress()});
    ASSERT_TRUE(
        Eventually([&] { return SeesOnline(laptopBus, phone.networkId) && SeesOnline(phoneBus, laptop.networkId); }));
    const auto nodes = laptopBus->Nodes();
    ASSERT_EQ(nodes.size(), 1u) << "a device does not list itself";
    EXPECT_EQ(nodes[0].deviceName, "phone");
    EXPECT_EQ(nodes[0].deviceId, phone.deviceId);
    EXPECT_EQ(nodes[0].deviceTypeId, DEVICE_TYPE_PHONE);
    EXPECT_GT(nodes[0].lastSeenMs, 0);
}

TEST_F(DiscoveryTest, ADeviceThatLeavesGoesOfflineAndIsFoundAgainWhenItReturns)
{
    auto phoneBus = StartBus(phone, "phone");
    const std::string address = phoneBus->ListenAddress();
    const auto laptopBus = StartBus(laptop, "laptop", {address});
    ASSERT_TRUE(Eventually([&] { return SeesOnline(laptopBus, phone.networkId); }));

    phoneBus->Stop();
    ASSERT_TRUE(Eventually([&] { return !SeesOnline(laptopBus, phone.networkId); }));
    EXPECT_EQ(laptopBus->Nodes().size(), 1u) << "met, and away";
    EXPECT_EQ(laptopBus->OpenSession(NAME, NAME, phone.networkId, ByteSession()), SOFTBUS_NO_SUCH_PEER);

    SoftBusOptions options;
    options.listenAddress = address;
    phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(Eventually([&] { return SeesOnline(laptopBus, phone.networkId); }));
}

TEST_F(DiscoveryTest, AnnouncementsInASharedFolderBringDevicesTogether)
{
    const auto phoneBus = StartBus(phone, "phone", {}, Announcing());
    const auto file = Announcing().announceFolder / (phone.networkId + ".json");
    EXPECT_TRUE(std::filesystem::exists(file));
    const auto laptopBus = StartBus(laptop, "laptop", {}, Announcing());
    EXPECT_TRUE(
        Eventually([&] { return SeesOnline(laptopBus, phone.networkId) && SeesOnline(phoneBus, laptop.networkId); }));

    phoneBus->Stop();
    EXPECT_FALSE(std::filesystem::exists(file)) << "it announces itself no longer";
    EXPECT_TRUE(Eventually([&] { return !SeesOnline(laptopBus, phone.networkId); }));
}

TEST_F(DiscoveryTest, DamagedAnnouncementsAreIgnoredWithOneLine)
{
    const Vexo::Tests::LogCapture log;
    const auto options = Announcing();
    std::filesystem::create_directories(options.announceFolder);
    const std::string id(64, 'd');
    std::ofstream(options.announceFolder / (id + ".json")) << "{\"version\": 1";
    std::ofstream(options.announceFolder / ".half-written.tmp") << "{";
    const auto laptopBus = StartBus(laptop, "laptop", {}, options);
    ASSERT_TRUE(WriteFileAtomically(options.announceFolder / (std::string(64, 'e') + ".json"),
                                    EncodeAnnouncement({id, {"tcp", "127.0.0.1:9"}}), 0644));
    const auto phoneBus = StartBus(phone, "phone", {}, options);
    EXPECT_TRUE(Eventually([&] { return SeesOnline(laptopBus, phone.networkId); })) << "the good one still counts";
    EXPECT_EQ(log.Count(id + ".json ignored: it is not a JSON object"), 2u) << "one line at each device";
    EXPECT_TRUE(Eventually([&] { return log.Count("it names another device") >= 2; }));
    EXPECT_EQ(log.Count("half-written"), 0u);
}

TEST_F(DiscoveryTest, AStrangersDeviceIsNeverListed)
{
    const Vexo::Tests::LogCapture log;
    Account other;
    const auto strangerBus = StartBus(other.NewDevice(), "stranger");
    const auto expiredBus = StartBus(account.NewDevice(std::chrono::hours(-1)), "expired");
    const auto phoneBus = StartBus(phone, "phone");
    const auto laptopBus = StartBus(
        laptop, "laptop", {strangerBus->ListenAddress(), expiredBus->ListenAddress(), phoneBus->ListenAddress()});
    ASSERT_TRUE(Eventually([&] { return SeesOnline(laptopBus, phone.networkId); }));
    EXPECT_TRUE(log.WaitFor("no device of this account at " + strangerBus->ListenAddress()));
    EXPECT_TRUE(log.WaitFor("no device of this account at " + expiredBus->ListenAddress()));
    EXPECT_EQ(laptopBus->Nodes().size(), 1u);
    EXPECT_TRUE(strangerBus->Nodes().empty());
    EXPECT_TRUE(expiredBus->Nodes().empty());
}

TEST_F(DiscoveryTest, ItsOwnAddressIsNotADevice)
{
    SoftBusOptions everywhere;
    everywhere.listenAddress = "0.0.0.0:0";
    const auto probe = StartBus(laptop, "laptop", {}, everywhere);
    const std::string port = probe->ListenAddress().substr(probe->ListenAddress().rfind(':'));
    probe->Stop();
    everywhere.listenAddress = "0.0.0.0" + port;
    const auto phoneBus = StartBus(phone, "phone");
    const auto laptopBus = StartBus(laptop, "laptop", {"127.0.0.1" + port, phoneBus->ListenAddress()}, everywhere);
    ASSERT_TRUE(
        Eventually([&] { return SeesOnline(phoneBus, laptop.networkId) && SeesOnline(laptopBus, phone.networkId); }));
    EXPECT_EQ(laptopBus->Nodes().size(), 1u);
    EXPECT_EQ(laptopBus->Counts().presenceLinks, 1u);

    ASSERT_EQ(laptopBus->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(phoneBus->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    Listener<1>::Events().Clear();
    const int id = phoneBus->OpenSession(NAME, NAME, laptop.networkId, ByteSession());
    EXPECT_EQ(Listener<1>::Events().WaitFor(Event::Kind::OPENED, id).result, 0)
        << "a peer that listens everywhere is reached where it was seen";
}

TEST_F(DiscoveryTest, WhatCannotBeUsedIsRefusedAtTheStart)
{
    const auto busy = StartBus(phone, "phone");
    std::ofstream(folder.Path() / "file") << "x";
    const struct {
        const char* expected;
        std::function<void(SoftBusOptions&)> change;
    } cases[] = {
        {"cannot listen on", [&](SoftBusOptions& o) { o.listenAddress = busy->ListenAddress(); }},
        {"has no numeric host", [](SoftBusOptions& o) { o.listenAddress = "localhost:0"; }},
        {"has no port", [](SoftBusOptions& o) { o.peerAddresses = {"127.0.0.1"}; }},
        {"has port 0", [](SoftBusOptions& o) { o.peerAddresses = {"phone.example:0"}; }},
        {"without brackets", [](SoftBusOptions& o) { o.peerAddresses = {"::1:80"}; }},
        {"announce folder", [&](SoftBusOptions& o) { o.announceFolder = folder.Path() / "file"; }},
        {"device name", [](SoftBusOptions& o) { o.deviceName.clear(); }},
    };
    for (const auto& c : cases) {
        SoftBusOptions options;
        options.deviceName = "laptop";
        c.change(options);
        const auto started = SoftBusServer::Start(laptop, options);
        ASSERT_FALSE(started) << c.expected;
        EXPECT_NE(started.Message().find(c.expected), std::string::npos) << started.Message();
    }
}

TEST(NodeTableTest, ADeviceIsOnlineWhileOneLinkStandsAndKeepsWhereItWasFound)
{
    NodeTable nodes;
    const std::string id(64, 'a');
    Hello hello{DEVICE_TYPE_TABLET, id, "tablet", {{"tcp", "one:1"}}};
    EXPECT_TRUE(nodes.LinkUp(id, hello));
    hello.addresses = {{"tcp", "two:2"}};
    EXPECT_FALSE(nodes.LinkUp(id, hello)) << "online already";
    const std::vector<PeerAddress> both{{"tcp", "two:2"}, {"tcp", "one:1"}};
    EXPECT_EQ(nodes.Addresses(id), both);
    EXPECT_EQ(nodes.LinkDown(id), 1u);
    EXPECT_FALSE(nodes.MarkOffline(id));
    EXPECT_EQ(nodes.LinkDown(id), 0u);
    EXPECT_TRUE(nodes.IsOnline(id)) << "until reconnecting has failed";
    EXPECT_TRUE(nodes.MarkOffline(id));
    EXPECT_FALSE(nodes.IsOnline(id));
    const std::string other(64, 'b');
    nodes.LinkUp(other, {DEVICE_TYPE_PHONE, other, "zebra", {}});
    EXPECT_EQ(nodes.List()[0].deviceName, "zebra") << "online first";
}

}  // namespace

}  // namespace Vexo::SoftBus::Tests
