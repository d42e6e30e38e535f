// Tests the Bluetooth channel with a fake BlueZ (fake_bluez.py). In the tests, adapters appear and disappear, BlueZ
// refuses advertisements, and devices outside the account advertise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "backends/linux/bluetooth_channel.h"
#include "platform/base/hex.h"
#include "tests/backends/linux/private_machine.h"
#include "tests/support/manual_timers.h"

namespace Vexo::Linux {
namespace {

using namespace std::chrono_literals;
using EndToEnd::Eventually;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using Texts = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;
using OpenedBy = BluetoothShared::OpenedBy;

const BusObject TEST_CONTROL{"org.bluez", "/", "net.distnet.Test"};
const std::string UUID(BLUETOOTH_SERVICE_UUID);
const std::string STRANGERS_UUID("0000180d-0000-1000-8000-00805f9b34fb");
const std::string PHONE("40:11:22:33:44:55");

Bytes DataOf(uint8_t version, uint8_t psm, const std::string& token)
{
    Bytes bytes(2 + token.size());
    bytes[0] = version;
    bytes[1] = psm;
    std::copy(token.begin(), token.end(), bytes.begin() + 2);
    return bytes;
}

class BluetoothChannelTest : public testing::Test {
protected:
    void SetUp() override
    {
        StartBluez();
        shared->SetPsm(0x81);
    }
    void TearDown() override
    {
        if (channel) {
            channel->Withdraw();
        }
    }
    void StartBluez()
    {
        machine.Start("bluez", {"/usr/bin/python3", "-m", "dbusmock", "--template", FAKE_BLUEZ});
        machine.AwaitService("org.bluez", "bluez");
        Do("PlugIn", std::string("hci0"));
    }
    void StartChannel(const std::string& adapter = "")
    {
        options = {Bus::Open(machine.Address()), adapter};
        channel = MakeBluetoothChannel(options, shared, timers);
        ASSERT_TRUE(channel->Start(
            "oursAAAA", [](const std::string& token) { return token.starts_with("ours"); },
            [this](const std::string& name, const std::optional<SoftBus::Announcement>& heard) {
                const MutexLock lock(mutex);
                ++reports;
                known.erase(name);
                if (heard) {
                    known[name] = heard->token + " " + heard->addresses.at(0).address;
                }
            }));
    }
    void Do(const std::string& method, const auto&... arguments) { machine.Call(TEST_CONTROL, method, arguments...); }
    void SetPowered(bool isPowered, const std::string& powerState)
    {
        Do("Change", std::string("hci0"),
           PropertyMap{{"Powered", sdbus::Variant(isPowered)}, {"PowerState", sdbus::Variant(powerState)}});
    }
    Texts Advertised()
    {
        return machine.Bus().Call<Texts>(TEST_CONTROL, "Advertised", BUS_CALL_LIMIT).value_or(Texts{"?"});
    }
    bool Advertises(const Texts& tokens)
    {
        Texts expected;
        for (const std::string& token : tokens) {
            expected.push_back(UUID + " 0181" + HexOf({reinterpret_cast<const uint8_t*>(token.data()), token.size()}));
        }
        const bool does = Eventually([&] { return Advertised() == expected; });
        EXPECT_TRUE(does) << shared->State().presence.reason;
        return does;
    }
    // Opens a radio link to the device at the given address. The link counts as used while the returned handle exists.
    std::shared_ptr<void> Use(const std::string& address, bool isPaired = false)
    {
        Do("Appear", address, UUID, DataOf(1, 0x80, "oursPHON"));
        Do("Connect", address, isPaired);
        return shared->AddUse(address + "/random", OpenedBy::THIS_DEVICE);
    }
    Texts Connected()
    {
        return machine.Bus().Call<Texts>(TEST_CONTROL, "Connected", BUS_CALL_LIMIT).value_or(Texts{"?"});
    }
    // Announces the token and waits for BlueZ to advertise it, so that the channel has finished all its earlier work.
    void Settle(const std::string& token)
    {
        channel->Announce(token);
        ASSERT_TRUE(Advertises({token}));
    }
    int Scans() { return machine.Bus().Call<int>(TEST_CONTROL, "Scans", BUS_CALL_LIMIT).value_or(-1); }
    bool StateIs(const std::string& text)
    {
        return Eventually([&] { return shared->State().presence.reason.find(text) != std::string::npos; });
    }
    std::map<std::string, std::string> Known()
    {
        const MutexLock lock(mutex);
        return known;
    }

    Tests::PrivateMachine machine;
    Tests::ManualTimers timers;
    const std::shared_ptr<BluetoothShared> shared = std::make_shared<BluetoothShared>();
    Mutex mutex;
    std::map<std::string, std::string> known GUARDED_BY(mutex);
    int reports GUARDED_BY(mutex) = 0;
    BluetoothOptions options;
    std::unique_ptr<SoftBus::AnnouncementChannel> channel;
};

TEST_F(BluetoothChannelTest, AdvertisesEachTokenAndRetriesAfterRefusal)
{
    StartChannel();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    ASSERT_TRUE(StateIs("announces this device on hci0"));
    EXPECT_EQ(ToText(shared->Adapter()), "00:01:02:03:04:05/public/128");
    channel->Announce("oursBBBB");
    ASSERT_TRUE(Advertises({"oursBBBB"}));
    Do("SetSlots", 1);
    channel->Announce("oursCCCC");
    ASSERT_TRUE(Advertises({"oursCCCC"})) << "the old one makes room";

    Do("Release");
    ASSERT_TRUE(Advertises({})) << "BlueZ ended it";
    ASSERT_TRUE(Eventually([&] {
        timers.Advance(1s);
        return Advertised().size() == 1;
    }));

    Do("SetSlots", 0);
    channel->Announce("oursDDDD");
    ASSERT_TRUE(StateIs("refuses"));
    EXPECT_THAT(shared->State().presence.reason, HasSubstr("org.bluez.Error.NotPermitted"));
    Do("SetSlots", 2);
    ASSERT_TRUE(Eventually([&] {
        timers.Advance(1s);
        return shared->State().advice.empty();
    }));
    ASSERT_TRUE(Advertises({"oursDDDD"}));
    channel->Withdraw();
    ASSERT_TRUE(Advertises({}));
}

// A second channel uses the D-Bus connection of the first channel and announces an enrolment ticket.
TEST_F(BluetoothChannelTest, SecondChannelAdvertisesWithoutAffectingFirst)
{
    StartChannel();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    EXPECT_TRUE(channel->CanAnnounce());
    const auto second = MakeBluetoothChannel(options, shared, timers);
    EXPECT_FALSE(second->CanAnnounce());
    ASSERT_TRUE(second->Start(
        "", [](const std::string&) { return false; },
        [](const std::string&, const std::optional<SoftBus::Announcement>&) {}));
    EXPECT_TRUE(Eventually([&] { return second->CanAnnounce(); }));
    ASSERT_TRUE(Advertises({"oursAAAA"})) << "without a token it announces nothing";
    second->Announce("tickAAAA");
    ASSERT_TRUE(Advertises({"oursAAAA", "tickAAAA"}));
    channel->Announce("oursBBBB");
    ASSERT_TRUE(Advertises({"oursBBBB", "tickAAAA"}));
    auto use = Use(PHONE);
    second->Withdraw();
    ASSERT_TRUE(Advertises({"oursBBBB"}));
    use.reset();
    Settle("oursCCCC");
    timers.Advance(5s);
    EXPECT_TRUE(Eventually([&] { return Connected().empty(); })) << "the first still ends radio links";
}

TEST_F(BluetoothChannelTest, FollowsAppearingAndVanishingAdaptersAndBlueZ)
{
    StartChannel();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    SetPowered(false, "off");
    ASSERT_TRUE(StateIs("Bluetooth is switched off"));
    ASSERT_TRUE(Advertises({}));
    EXPECT_EQ(channel->Seek(), nullptr);
    SetPowered(false, "off-blocked");
    ASSERT_TRUE(StateIs("Bluetooth is blocked"));
    SetPowered(true, "on");
    ASSERT_TRUE(Advertises({"oursAAAA"}));

    Do("Unplug", std::string("hci0"));
    ASSERT_TRUE(StateIs("there is no Bluetooth adapter"));
    Do("PlugIn", std::string("hci1"));
    ASSERT_TRUE(StateIs("on hci1"));
    ASSERT_TRUE(Advertises({"oursAAAA"}));

    machine.End("bluez");
    ASSERT_TRUE(StateIs("BlueZ does not run"));
    EXPECT_EQ(channel->Seek(), nullptr);
    StartBluez();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    EXPECT_NE(channel->Seek(), nullptr);
}

TEST_F(BluetoothChannelTest, UsesOnlyConfiguredAdapter)
{
    StartChannel("hci1");
    ASSERT_TRUE(StateIs("there is no Bluetooth adapter hci1"));
    Do("PlugIn", std::string("hci1"));
    ASSERT_TRUE(StateIs("on hci1"));
    ASSERT_TRUE(Advertises({"oursAAAA"}));
}

TEST_F(BluetoothChannelTest, HearsOnlyDevicesOfAccountAndOnlyWhileSeeking)
{
    Do("Appear", PHONE, UUID, DataOf(1, 0x80, "oursPHON"));
    StartChannel();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    EXPECT_THAT(Known(), IsEmpty()) << "nobody seeks";
    auto seeking = channel->Seek();
    ASSERT_TRUE(Eventually([&] { return Scans() == 1; }));
    const std::string path = "/org/bluez/hci0/dev_40_11_22_33_44_55";
    ASSERT_TRUE(Eventually([&] { return !Known().empty(); })) << "it was there before";

    Do("AppearMany", 50, STRANGERS_UUID);
    Do("Appear", std::string("41:00:00:00:00:01"), UUID, DataOf(2, 0x80, "oursPHON"));
    Do("Appear", std::string("41:00:00:00:00:02"), UUID, DataOf(1, 0x80, "oursPHONE"));
    Do("Appear", std::string("41:00:00:00:00:03"), UUID, DataOf(1, 0x7f, "oursPHON"));
    Do("Appear", std::string("41:00:00:00:00:04"), UUID, DataOf(1, 0x80, "elsePHON"));
    Do("Appear", PHONE, UUID, DataOf(1, 0x80, "oursNEW2"));
    ASSERT_TRUE(Eventually([&] { return Known()[path].starts_with("oursNEW2"); }));
    EXPECT_THAT(Known(), ElementsAre(Pair(path, "oursNEW2 " + PHONE + "/random/128")));
    {
        const MutexLock lock(mutex);
        EXPECT_EQ(reports, 2);
    }

    auto other = channel->Seek();
    seeking.reset();
    timers.Advance(60s);
    Do("Appear", PHONE, UUID, DataOf(1, 0x80, "oursNEW3"));
    ASSERT_TRUE(Eventually([&] { return Known()[path].starts_with("oursNEW3"); }));
    EXPECT_EQ(Scans(), 1) << "another still seeks";
    other.reset();
    ASSERT_TRUE(Eventually([&] { return Scans() == 0; }));
    EXPECT_THAT(Known(), testing::SizeIs(1));
    timers.Advance(30s);
    // The channel arms its timer when BlueZ has ended the scan, which may be later than this line.
    ASSERT_TRUE(Eventually([&] {
        timers.Advance(1ms);
        return Known().empty();
    })) << "its address may have changed";

    seeking = channel->Seek();
    ASSERT_TRUE(Eventually([&] { return Known().size() == 1; }));
    Do("Vanish", PHONE);
    ASSERT_TRUE(Eventually([&] { return Known().empty(); }));
    channel->Withdraw();
    EXPECT_EQ(Scans(), 0);
    channel.reset();
    seeking.reset();  // must not stop a scan, because the channel no longer exists
}

TEST_F(BluetoothChannelTest, HearsAtMost64DevicesAndHearsNewOneWhenAnotherVanishes)
{
    StartChannel();
    ASSERT_TRUE(Advertises({"oursAAAA"}));
    const auto seeking = channel->Seek();
    Do("AppearMany", 64, UUID);
    ASSERT_TRUE(Eventually([&] { return Known().size() == 64; }));
    Do("Appear", PHONE, UUID, DataOf(1, 0x80, "oursPHON"));
    Do("Vanish", std::string("40:00:00:00:00:00"));
    ASSERT_TRUE(Eventually([&] { return Known().size() == 63; })) << "the 65th device was heard";
    Do("Appear", PHONE, UUID, DataOf(1, 0x80, "oursPHON"));
    ASSERT_TRUE(Eventually([&] { return Known().contains("/org/bluez/hci0/dev_40_11_22_33_44_55"); }));
}

TEST_F(BluetoothChannelTest, ClosesRadioLinkFiveSecondsAfterLastUse)
{
    const std::string paired("40:00:00:00:00:01");
    const std::string usedAgain("40:00:00:00:00:02");
    const std::string accepted("40:00:00:00:00:03");
    StartChannel();
    Settle("oursBBBB");
    auto use = Use(PHONE);
    auto secondUse = shared->AddUse(PHONE + "/random", OpenedBy::OTHER);
    auto others = std::vector{Use(paired, true), Use(usedAgain)};
    Do("Appear", accepted, UUID, DataOf(1, 0x80, "oursPHON"));
    Do("Connect", accepted, false);
    shared->AddUse(accepted + "/random", OpenedBy::OTHER).reset();
    use.reset();
    Settle("oursCCCC");
    timers.Advance(10s);
    secondUse.reset();
    others.clear();
    Settle("oursDDDD");
    timers.Advance(4999ms);
    Settle("oursEEEE");
    EXPECT_THAT(Connected(), ElementsAre(paired, usedAgain, accepted, PHONE));
    others.push_back(Use(usedAgain));
    timers.Advance(1ms);
    ASSERT_TRUE(Eventually([&] { return Connected() == Texts{paired, usedAgain, accepted}; }));

    others.clear();
    Settle("oursFFFF");
    timers.Advance(5s);
    ASSERT_TRUE(Eventually([&] { return Connected() == Texts{paired, accepted}; }));
}

TEST_F(BluetoothChannelTest, ClosesUnusedRadioLinksAtOnceWhenDestroyed)
{
    const std::string stillUsed("40:00:00:00:00:01");
    StartChannel();
    Settle("oursBBBB");
    auto use = Use(PHONE);
    const auto other = Use(stillUsed);
    use.reset();
    channel->Withdraw();
    EXPECT_TRUE(Eventually([&] { return Connected() == Texts{stillUsed}; })) << "its link ends by itself";
}

}  // namespace
}  // namespace Vexo::Linux
