// Tests the DNS-SD channel. Some tests use two machines with the real avahi-daemon. Other tests use a mock of Avahi
// whose calls fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "backends/linux/avahi.h"
#include "backends/linux/dns_sd_channel.h"
#include "backends/linux/lan_addresses.h"
#include "tests/backends/linux/dns_sd_world.h"
#include "tests/backends/linux/private_machine.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_timers.h"

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Tests::Eventually;

constexpr int32_t INTERFACE = 2;
constexpr uint32_t UNIQUE = 1;
constexpr uint32_t NO_PROBE = 2;
constexpr uint32_t NO_REVERSE = 16;
constexpr uint16_t PORT = 4711;

// Uses the Avahi on a bus to publish records that no device of the account would publish. The destructor withdraws the
// records.
class Stranger {
public:
    explicit Stranger(const std::string& address) : bus_(Bus::Open(address)) {}

    // Publishes a service of type DNS_SD_TYPE.
    void Publish(const std::string& instance, const std::string& address)
    {
        const std::string host = instance.substr(instance.size() - 8) + ".local";
        NewGroup();
        Call("AddAddress", INTERFACE, AVAHI_PROTOCOL_IPV4, NO_REVERSE, host, address);
        Call("AddService", INTERFACE, AVAHI_PROTOCOL_IPV4, uint32_t{0}, instance, std::string(DNS_SD_TYPE),
             std::string(DNS_SD_DOMAIN), host, PORT, std::vector<std::vector<uint8_t>>());
        Call("Commit");
    }
    // Publishes an SRV record for an instance name. Avahi does not check whether another host uses that name.
    void Take(const std::string& instance)
    {
        // The fields of an SRV record (RFC 2782) are priority, weight, port and target.
        const std::string text = std::string(4, '\0') + static_cast<char>(PORT >> 8U) +
                                 static_cast<char>(PORT & 0xffU) + std::string("\5thief\5local\0", 13);
        const std::vector<uint8_t> record(text.begin(), text.end());
        NewGroup();
        Call("AddRecord", INTERFACE, AVAHI_PROTOCOL_IPV4, UNIQUE | NO_PROBE,
             instance + "." + DNS_SD_TYPE + "." + DNS_SD_DOMAIN, uint16_t{1}, uint16_t{33}, uint32_t{120}, record);
        Call("Commit");
    }

private:
    void NewGroup()
    {
        const auto made = bus_->Call<sdbus::ObjectPath>(AVAHI_SERVER, "EntryGroupNew", BUS_CALL_LIMIT);
        group_ = {AVAHI, made.value_or(sdbus::ObjectPath("/")), AVAHI_ENTRY_GROUP};
    }
    void Call(const std::string& method, const auto&... arguments)
    {
        const Result<void> done = bus_->Call(group_, method, BUS_CALL_LIMIT, arguments...);
        EXPECT_TRUE(done) << method << ": " << done.error().message;
    }

    const std::shared_ptr<Bus> bus_;
    BusObject group_;
};

class DnsSdTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const std::string missing = world_.Start(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        ASSERT_FALSE(HasFailure());
    }
    // Returns the instance name of the only device that the given device (a dns_sd_side process) knows.
    std::string InstanceAt(const std::string& side)
    {
        const auto known = world_.Known(side);
        return known.empty() ? "" : known.begin()->first.substr(0, 25);
    }
    bool HasSaid(const std::string& name, const std::string& text)
    {
        return Eventually([&] { return world_.Output(name).find(text) != std::string::npos; });
    }

    Tests::DnsSdWorld world_;
};

TEST_F(DnsSdTest, FindsDeviceAndFollowsTokenAndAddressesUntilGoodbye)
{
    world_.StartMonitor("a");
    world_.StartSide("b", "phone", "[::]:40118", "oursBBBB");
    world_.StartSide("a", "laptop", "0.0.0.0:40117", "oursAAAA");
    std::cout << "found after " << world_.AwaitKnown("phone", {"oursAAAA 192.0.2.1:40117"}).count() << " ms\n";
    world_.AwaitKnown("laptop", {"oursBBBB 192.0.2.2:40118", "oursBBBB [2001:db8::2]:40118"});
    EXPECT_TRUE(InstanceAt("phone").starts_with("6f75727341414141-")) << InstanceAt("phone");

    world_.Command("phone", "announce oursNEW1");
    world_.AwaitKnown("laptop", {"oursNEW1 192.0.2.2:40118", "oursNEW1 [2001:db8::2]:40118"});

    world_.Command("laptop", "announce oursNEW2");
    world_.AwaitKnown("phone", {"oursNEW2 192.0.2.1:40117"});
    world_.In("a", "ip addr add 192.0.2.11/25 dev va && ip addr del 192.0.2.1/24 dev va");
    std::cout << "moved after " << world_.AwaitKnown("phone", {"oursNEW2 192.0.2.11:40117"}).count() << " ms\n";
    EXPECT_EQ(world_.FewestGroups(), 1U) << world_.Output("monitor");

    world_.Command("laptop", "end");
    const milliseconds gone = world_.AwaitKnown("phone", {});
    std::cout << "gone after " << gone.count() << " ms\n";
    EXPECT_LT(gone, milliseconds(2000));
}

TEST_F(DnsSdTest, RecoversAfterRestartsAndWithdrawsFromFrozenAvahi)
{
    world_.Kill("avahi-b");
    world_.StartSide("a", "laptop", "192.0.2.1:40117", "oursAAAA");
    // The phone listens on the loopback address. The phone finds the laptop, but the laptop cannot find the phone.
    world_.StartSide("b", "phone", "127.0.0.1:40118", "oursBBBB");
    EXPECT_TRUE(HasSaid("phone", "Avahi is not running")) << world_.Output("phone");
    world_.StartAvahi("b");
    const std::string laptop = "oursAAAA 192.0.2.1:40117";
    world_.AwaitKnown("phone", {laptop});

    world_.Kill("avahi-b");
    world_.AwaitKnown("phone", {});
    world_.StartAvahi("b");
    world_.AwaitKnown("phone", {laptop});

    world_.Signal("avahi-a", SIGTERM);
    world_.AwaitKnown("phone", {});
    world_.StartBus("a");
    world_.StartAvahi("a");
    world_.AwaitKnown("phone", {laptop});

    world_.Kill("laptop");
    world_.AwaitKnown("phone", {});
    world_.StartSide("a", "laptop", "192.0.2.1:40117", "oursAAAA");
    world_.AwaitKnown("phone", {laptop});
    EXPECT_THAT(world_.Known("laptop"), testing::IsEmpty());

    world_.Signal("avahi-a", SIGSTOP);
    // While Avahi is frozen, a call to Avahi times out soon, and withdrawing an announcement does not block.
    world_.Command("laptop", "announce oursNEW2");
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_TRUE(HasSaid("laptop", "; retrying: ")) << world_.Output("laptop");
    const auto ended = std::chrono::steady_clock::now();
    EXPECT_LT(ended - asked, milliseconds(1500));
    world_.Command("laptop", "end");
    EXPECT_TRUE(HasSaid("laptop", "withdrawn")) << world_.Output("laptop");
    EXPECT_LT(std::chrono::steady_clock::now() - ended, milliseconds(1000));
    world_.Signal("avahi-a", SIGCONT);
    world_.AwaitKnown("phone", {});
}

TEST_F(DnsSdTest, IgnoresStrangersAndChangesNameOnConflict)
{
    Stranger stranger(world_.Address("a"));
    for (int i = 100; i < 200; ++i) {
        stranger.Publish("printer-" + std::to_string(10'000'000 + i), "192.0.2.1");
    }
    stranger.Publish("6f75727346414b45-00000001", "203.0.113.9");
    stranger.Publish("7374726167676c65-00000002", "192.0.2.1");
    world_.StartSide("b", "phone", "0.0.0.0:40118", "oursBBBB");
    EXPECT_TRUE(HasSaid("phone", "not on its interface's link")) << world_.Output("phone");
    world_.StartSide("a", "laptop", "0.0.0.0:40117", "oursAAAA");
    std::cout << "found among strangers after " << world_.AwaitKnown("phone", {"oursAAAA 192.0.2.1:40117"}).count()
              << " ms\n";
    // Expects five objects: an entry group, a browser, one resolver for each of two instances, and the entry group that
    // the command "objects" creates.
    world_.Command("phone", "objects");
    EXPECT_TRUE(HasSaid("phone", "objects 5\n")) << world_.Output("phone");

    world_.AwaitKnown("laptop", {"oursBBBB 192.0.2.2:40118"});
    const std::string taken = InstanceAt("laptop");
    stranger.Take(taken);
    EXPECT_TRUE(Eventually([&] {
        const auto known = world_.Known("laptop");
        return std::any_of(known.begin(), known.end(), [&](const auto& one) { return !one.first.starts_with(taken); });
    })) << world_.Output("laptop");

    for (int i = 10; i < 30; ++i) {
        stranger.Publish("6f757273434f5059-200000" + std::to_string(i), "192.0.2.1");
    }
    world_.Command("laptop", "announce oursNEW2");
    // A device keeps at most four instance names with the same token.
    std::vector<std::string> known(4, "oursCOPY 192.0.2.1:4711");
    known.emplace_back("oursNEW2 192.0.2.1:40117");
    world_.AwaitKnown("phone", known);
}

class MockAvahiTest : public testing::Test {
protected:
    void SetUp() override
    {
        machine_.Start("avahi", {"/usr/bin/python3", "-m", "dbusmock", AVAHI, "/", AVAHI_SERVER.interface});
        machine_.AwaitService(AVAHI, "avahi");
        Mock("/", "AddMethod", AVAHI_SERVER.interface, std::string("ServiceBrowserNew"), std::string("iissu"),
             std::string("o"), std::string("ret = '/browser'"));
        AddObject("/browser", AVAHI_SERVICE_BROWSER);
        ASSERT_TRUE(channel_->Start(
            "oursAAAA", [](const std::string&) { return true; },
            [](const std::string&, const std::optional<SoftBus::Announcement>&) {}));
        ASSERT_TRUE(Eventually([&] { return Calls("ServiceBrowserNew") == 1; })) << machine_.Output("avahi");
    }
    void TearDown() override { channel_->Withdraw(); }

    void Mock(const std::string& path, const std::string& method, const auto&... arguments)
    {
        machine_.Call({AVAHI, path, "org.freedesktop.DBus.Mock"}, method, arguments...);
    }
    void AddObject(const std::string& path, const std::string& interface)
    {
        using Method = sdbus::Struct<std::string, std::string, std::string, std::string>;
        Mock("/", "AddObject", path, interface, PropertyMap(),
             std::vector<Method>{Method("Free", std::string(), std::string(), std::string())});
    }
    void Emit(const std::string& interface, const std::string& signal, const std::string& signature,
              const std::vector<sdbus::Variant>& arguments)
    {
        Mock(interface == AVAHI_SERVICE_BROWSER ? "/browser" : "/resolver", "EmitSignal", interface, signal, signature,
             arguments);
    }
    void FailBrowser() { Emit(AVAHI_SERVICE_BROWSER, "Failure", "s", {sdbus::Variant(std::string("no network"))}); }
    // Returns how often a method of the mocked Avahi server was called.
    size_t Calls(const std::string& method)
    {
        using Calls = std::vector<sdbus::Struct<uint64_t, std::vector<sdbus::Variant>>>;
        const BusObject mock{AVAHI, "/", "org.freedesktop.DBus.Mock"};
        const auto calls = machine_.Bus().Call<Calls>(mock, "GetMethodCalls", BUS_CALL_LIMIT, method);
        return calls ? calls->size() : 0;
    }
    bool AwaitNextBrowser()
    {
        const size_t before = Calls("ServiceBrowserNew");
        return Eventually([&] {
            timers_.Advance(milliseconds(500));
            return Calls("ServiceBrowserNew") > before;
        });
    }

    Tests::LogCapture log_;
    Tests::PrivateMachine machine_;
    Tests::ManualTimers timers_;
    std::unique_ptr<SoftBus::AnnouncementChannel> channel_ =
        MakeDnsSdChannel("127.0.0.1:40117", Bus::Open(machine_.Address()), timers_);
};

TEST_F(MockAvahiTest, FailingBrowserIsRetriedWithBackoffAndLoggedOnce)
{
    const SteadyTime begin = timers_.Now();
    for (int i = 0; i < 5; ++i) {
        FailBrowser();
        ASSERT_TRUE(AwaitNextBrowser());
    }
    EXPECT_GE(timers_.Now() - begin, std::chrono::seconds(1 + 2 + 4 + 8 + 16));
    EXPECT_EQ(log_.Count("searching for devices nearby failed"), 1U) << log_.Text();

    Emit(AVAHI_SERVICE_BROWSER, "AllForNow", "", {});
    FailBrowser();
    EXPECT_TRUE(log_.WaitFor("searching for devices nearby failed", 2)) << "it had worked in between";
}

TEST_F(MockAvahiTest, AddressOnInterfaceWithoutAddressesIsDroppedSilently)
{
    Mock("/", "AddMethod", AVAHI_SERVER.interface, std::string("ServiceResolverNew"), std::string("iisssiu"),
         std::string("o"), std::string("ret = '/resolver'"));
    AddObject("/resolver", AVAHI_SERVICE_RESOLVER);
    const auto text = [](const std::string& value) { return sdbus::Variant(value); };
    const sdbus::Variant interface(int32_t{2'000'000'000}), protocol(AVAHI_PROTOCOL_IPV4), flags(uint32_t{0});
    const std::vector<sdbus::Variant> service{interface, protocol, text("6f75727342424242-00000001"), text(DNS_SD_TYPE),
                                              text(DNS_SD_DOMAIN)};
    std::vector<sdbus::Variant> item = service;
    item.push_back(flags);
    Emit(AVAHI_SERVICE_BROWSER, "ItemNew", "iisssu", item);
    ASSERT_TRUE(Eventually([&] { return Calls("ServiceResolverNew") == 1; }));
    std::vector<sdbus::Variant> found = service;
    found.insert(found.end(), {text("phone.local"), protocol, text("192.0.2.2"), sdbus::Variant(uint16_t{40118}),
                               sdbus::Variant(std::vector<std::vector<uint8_t>>()), flags});
    Emit(AVAHI_SERVICE_RESOLVER, "Found", "iissssisqaayu", found);
    FailBrowser();
    ASSERT_TRUE(log_.WaitFor("searching for devices nearby failed"));
    EXPECT_FALSE(log_.Contains("not on its interface's link")) << log_.Text();
}

TEST(LanAddressesTest, AddressIsOnLinkIfInSubnetOfInterface)
{
    const std::vector<LanAddress> lan = {
        {2, false, "192.0.2.1", 25}, {2, true, "2001:db8::1", 64}, {3, false, "198.51.100.1", 0}};
    const std::tuple<int, const char*, bool> rows[] = {
        {2, "192.0.2.127", true},    {2, "192.0.2.128", false},  {3, "192.0.2.127", false}, {2, "2001:db8::7", true},
        {2, "2001:db8:1::7", false}, {3, "198.51.100.1", false}, {3, "203.0.113.9", false}, {2, "printer", false},
    };
    for (const auto& [interface, address, isOnLink] : rows) {
        EXPECT_EQ(IsOnLink(lan, interface, address), isOnLink) << interface << " " << address;
    }
}

}  // namespace
}  // namespace Vexo::Linux
