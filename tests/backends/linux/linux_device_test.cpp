// Tests LinuxDevice on a private D-Bus bus with the real ModemManager, scripted modems, and mocks of the other daemons.
#include "backends/linux/linux_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/backends/linux/private_machine.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/recording_subscriber.h"

namespace Vexo::Linux {
namespace {

using EventFwk::CommonEventSupport;
using Telephony::SimState;
using testing::ElementsAre;
using testing::HasSubstr;
using Tests::Eventually;

constexpr const char* MOCK = "org.freedesktop.DBus.Mock";
constexpr const char* UPOWER = "org.freedesktop.UPower";
constexpr const char* LOGIND = "org.freedesktop.login1";
constexpr const char* NETWORK_MANAGER_NAME = "org.freedesktop.NetworkManager";
constexpr const char* MODEM = "/org/freedesktop/ModemManager1/Modem/0";
constexpr std::chrono::seconds MODEM_LIMIT{15};

class LinuxDeviceTest : public testing::Test {
protected:
    void StartDevice()
    {
        LinuxDeviceOptions options;
        options.bus = Bus::Open(machine_.Address());
        options.wifi.hotspot.stateDir = machine_.Folder();
        auto started = LinuxDevice::Start(options);
        ASSERT_TRUE(started) << started.error().message;
        device_ = std::move(started.value());
    }
    std::string ReasonOf(int32_t id) const
    {
        for (const AbilityState& ability : device_->Abilities()) {
            if (ability.id == id) {
                return ability.presence.reason;
            }
        }
        return "no such ability";
    }
    bool Has(int32_t id) const { return registry_.manager->GetSystemAbility(id) != nullptr; }

    static SimState SimOf(int32_t slot)
    {
        SimState state = SimState::UNKNOWN;
        EXPECT_EQ(Telephony::CoreServiceClient::GetInstance().GetSimState(slot, state), 0);
        return state;
    }
    static bool IsDataOn()
    {
        bool isOn = false;
        EXPECT_EQ(Telephony::CellularDataClient::GetInstance().IsCellularDataEnabled(isOn), 0);
        return isOn;
    }
    void Set(const BusObject& object, const std::string& property, const sdbus::Variant& value)
    {
        const Result<void> set = machine_.Bus().SetProperty(object, property, value);
        EXPECT_TRUE(set) << set.error().message;
    }

    const Tests::InstalledRegistry registry_;
    Tests::PrivateMachine machine_;
    std::unique_ptr<LinuxDevice> device_;
};

TEST_F(LinuxDeviceTest, TelephonyFollowsModemManagerAndItsModems)
{
    ASSERT_TRUE(std::filesystem::exists("/usr/sbin/ModemManager")) << "scripts/setup installs modemmanager";
    StartDevice();
    EXPECT_EQ(ReasonOf(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID), "ModemManager does not run");
    machine_.StartModemManager();
    EXPECT_TRUE(Eventually([&] { return ReasonOf(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID).ends_with(" has no modem"); }))
        << ReasonOf(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID);
    EXPECT_FALSE(Has(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID));

    machine_.AddModem("a", "READY");
    ASSERT_TRUE(Eventually([&] { return Has(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID); })) << machine_.Output("a");
    EXPECT_THAT(ReasonOf(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID), HasSubstr(", 1 modem"));
    EXPECT_TRUE(Eventually([] { return SimOf(0) == SimState::LOADED; }));
    EXPECT_TRUE(Eventually([&] { return device_->Network().CurrentUplink().isMobileDataOff; }));
    EXPECT_EQ(SimOf(1), SimState::NOT_PRESENT);
    EXPECT_FALSE(IsDataOn());

    const BusObject simple{"org.freedesktop.ModemManager1", MODEM, "org.freedesktop.ModemManager1.Modem.Simple"};
    const auto bearer = machine_.Bus().Call<sdbus::ObjectPath>(simple, "Connect", MODEM_LIMIT,
                                                               PropertyMap{{"apn", std::string("internet")}});
    ASSERT_TRUE(bearer) << bearer.error().message;
    EXPECT_TRUE(Eventually([] { return IsDataOn(); }));
    EXPECT_FALSE(device_->Network().CurrentUplink().isMobileDataOff);
    ASSERT_TRUE(machine_.Bus().Call(simple, "Disconnect", MODEM_LIMIT, sdbus::ObjectPath("/")));
    EXPECT_TRUE(Eventually([] { return !IsDataOn(); }));

    machine_.AddModem("b", "SIM PIN");
    EXPECT_TRUE(Eventually([] { return SimOf(1) == SimState::LOCKED; })) << machine_.Output("b");
    EXPECT_EQ(SimOf(0), SimState::LOADED);

    machine_.End("ModemManager");
    EXPECT_TRUE(Eventually([&] { return !Has(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID); }));
    EXPECT_FALSE(Has(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID));
    EXPECT_EQ(ReasonOf(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID), "ModemManager does not run");
    machine_.StartModemManager();
    machine_.AddModem("c", "READY");
    EXPECT_TRUE(Eventually([&] { return Has(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID); }));
    EXPECT_TRUE(Eventually([] { return SimOf(0) == SimState::LOADED; }));
}

TEST_F(LinuxDeviceTest, ScreenStateFollowsLidLockAndIdleness)
{
    machine_.StartMock("logind", LOGIND);
    machine_.StartMock("upower", UPOWER);
    const BusObject manager{LOGIND, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"};
    const BusObject session{LOGIND, "/org/freedesktop/login1/session/c1", "org.freedesktop.login1.Session"};
    const BusObject mock{LOGIND, manager.path, MOCK};
    machine_.Call(mock, "AddProperty", manager.interface, std::string("LidClosed"), sdbus::Variant(false));
    machine_.Call(mock, "AddProperty", manager.interface, std::string("Docked"), sdbus::Variant(false));
    machine_.Call(mock, "AddSession", std::string("c1"), std::string("seat0"), uint32_t{1000}, std::string("user"),
                  true);
    StartDevice();
    const auto events = Tests::RecordingSubscriber::To(
        {CommonEventSupport::COMMON_EVENT_SCREEN_ON, CommonEventSupport::COMMON_EVENT_SCREEN_OFF});
    ASSERT_TRUE(EventFwk::CommonEventManager::SubscribeCommonEvent(events));
    const std::string on = CommonEventSupport::COMMON_EVENT_SCREEN_ON + " -1 0";
    const std::string off = CommonEventSupport::COMMON_EVENT_SCREEN_OFF + " -1 0";

    EXPECT_TRUE(Eventually([&] { return device_->Network().Situation().isSessionActive; }));
    Set(session, "LockedHint", sdbus::Variant(true));
    EXPECT_THAT(events->WaitFor(1), ElementsAre(off));
    EXPECT_FALSE(device_->Network().Situation().isSessionActive);
    Set(session, "IdleHint", sdbus::Variant(true));  // must cause no event, because the screen is still off
    Set(session, "LockedHint", sdbus::Variant(false));
    Set(session, "IdleHint", sdbus::Variant(false));
    EXPECT_THAT(events->WaitFor(2), ElementsAre(off, on));

    const auto moveLid = [&](bool isClosed) {
        Set(manager, "LidClosed", sdbus::Variant(isClosed));
        Set({UPOWER, "/org/freedesktop/UPower", UPOWER}, "LidIsClosed", sdbus::Variant(isClosed));
    };
    moveLid(true);
    EXPECT_THAT(events->WaitFor(3), ElementsAre(off, on, off));
    Set(manager, "Docked", sdbus::Variant(true));  // logind sends no signal for this property
    moveLid(true);
    EXPECT_THAT(events->WaitFor(4), ElementsAre(off, on, off, on));

    machine_.End("logind");
    EXPECT_TRUE(Eventually([&] { return ReasonOf(COMMON_EVENT_SERVICE_ID).ends_with("logind does not run"); }));
    EXPECT_TRUE(Has(COMMON_EVENT_SERVICE_ID));
}

TEST_F(LinuxDeviceTest, LowBatteryIsReportedOnceAndClosesHotspot)
{
    const std::string path = "/org/freedesktop/UPower/devices/DisplayDevice";
    const auto warn = [&](uint32_t level) {
        Set({UPOWER, path, "org.freedesktop.UPower.Device"}, "WarningLevel", sdbus::Variant(level));
    };
    machine_.StartMock("upower", UPOWER);
    machine_.Start("NetworkManager", {"/usr/bin/python3", FAKE_NETWORK_MANAGER, machine_.Address()});
    machine_.AwaitService(NETWORK_MANAGER_NAME, "NetworkManager");
    StartDevice();
    const auto hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID);
    ASSERT_TRUE(hotspot);
    // On a busy machine the stand-in of NetworkManager can need longer than the time limit of one call.
    ASSERT_TRUE(Eventually([&] { return hotspot->EnableHotspot(Wifi::ServiceType::DEFAULT) == Wifi::WIFI_OK; }));
    const auto events = Tests::RecordingSubscriber::To({CommonEventSupport::COMMON_EVENT_BATTERY_LOW});
    ASSERT_TRUE(EventFwk::CommonEventManager::SubscribeCommonEvent(events));
    EXPECT_FALSE(device_->Network().CurrentBattery().percent) << "this machine has none";
    for (const auto& [name, value] :
         {std::pair{"State", sdbus::Variant(uint32_t{4})}, std::pair{"Percentage", sdbus::Variant(99.6)},
          std::pair{"IsPresent", sdbus::Variant(true)}}) {
        Set({UPOWER, path, "org.freedesktop.UPower.Device"}, name, value);
    }
    EXPECT_TRUE(Eventually([&] { return device_->Network().CurrentBattery().percent == 100; }));
    EXPECT_TRUE(device_->Network().CurrentBattery().isCharging);
    warn(2);  // 2 is UPower's level "Discharging".
    warn(3);
    warn(4);
    EXPECT_EQ(events->WaitFor(1).size(), 1U);
    bool isActive = true;
    EXPECT_TRUE(Eventually([&] { return hotspot->IsHotspotActive(isActive) == Wifi::WIFI_OK && !isActive; }));
    machine_.End("bus");
    EXPECT_TRUE(
        Eventually([&] { return ReasonOf(COMMON_EVENT_SERVICE_ID).find("UPower does not run") != std::string::npos; }));
    EXPECT_FALSE(device_->Network().CurrentBattery().percent);
    machine_.StartBus();
    machine_.StartMock("upower", UPOWER);
    EXPECT_TRUE(Eventually([&] { return ReasonOf(COMMON_EVENT_SERVICE_ID).find("UPower 0.99") != std::string::npos; }));
    warn(3);
    EXPECT_EQ(events->WaitFor(2).size(), 2U);
}

TEST_F(LinuxDeviceTest, SignalsThatDeviceAsksForShare)
{
    StartDevice();
    machine_.Start("monitor", {"/usr/bin/dbus-monitor", "--address", machine_.Address(),
                               "type='signal',interface='org.distnet.Sharing'"});
    EXPECT_TRUE(Eventually([&] {
        device_->SignalShareRequest("7f3a11", "laptop");
        return machine_.Output("monitor").find("string \"laptop\"") != std::string::npos;
    })) << machine_.Output("monitor");
    EXPECT_THAT(machine_.Output("monitor"),
                HasSubstr("path=/org/distnet/Sharing; interface=org.distnet.Sharing; member=Requested\n"
                          "   string \"7f3a11\"\n   string \"laptop\""));
}

TEST_F(LinuxDeviceTest, ReportsConnectivityByNetworkTypeWithoutOwnHotspot)
{
    machine_.StartMock("networkmanager", NETWORK_MANAGER_NAME);
    const BusObject mock{NETWORK_MANAGER_NAME, "/org/freedesktop", MOCK};
    machine_.Call(mock, "AddEthernetDevice", std::string("wired"), std::string("eth0"), int32_t{30});
    machine_.Call(mock, "AddWiFiDevice", std::string("radio"), std::string("wlan0"), int32_t{30});
    StartDevice();
    const auto events = Tests::RecordingSubscriber::To({CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE});
    ASSERT_TRUE(EventFwk::CommonEventManager::SubscribeCommonEvent(events));
    const auto line = [](EventFwk::NetType type, EventFwk::NetConnState state) {
        return CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE + " " + std::to_string(static_cast<int>(type)) +
               " " + std::to_string(static_cast<int>(state));
    };
    using EventFwk::NetConnState;
    using EventFwk::NetType;
    const std::string devices = "/org/freedesktop/NetworkManager/Devices/";
    const sdbus::ObjectPath connection("/org/freedesktop/NetworkManager/ActiveConnection/0");

    machine_.Call(mock, "SetDeviceActive", sdbus::ObjectPath(devices + "wired"), connection);
    EXPECT_THAT(events->WaitFor(1), ElementsAre(line(NetType::ETHERNET, NetConnState::CONNECTED)));
    Set({NETWORK_MANAGER_NAME, devices + "radio", "org.freedesktop.NetworkManager.Device.Wireless"}, "Mode",
        sdbus::Variant(uint32_t{3}));
    machine_.Call(mock, "SetDeviceActive", sdbus::ObjectPath(devices + "radio"), connection);
    machine_.Call(mock, "SetDeviceDisconnected", sdbus::ObjectPath(devices + "wired"));
    EXPECT_THAT(events->WaitFor(2), ElementsAre(line(NetType::ETHERNET, NetConnState::CONNECTED),
                                                line(NetType::ETHERNET, NetConnState::DISCONNECTED)));
    machine_.End("networkmanager");
    EXPECT_THAT(events->WaitFor(4), testing::UnorderedElementsAre(line(NetType::ETHERNET, NetConnState::CONNECTED),
                                                                  line(NetType::ETHERNET, NetConnState::DISCONNECTED),
                                                                  line(NetType::ETHERNET, NetConnState::UNKNOWN),
                                                                  line(NetType::WIFI, NetConnState::UNKNOWN)));
}

}  // namespace
}  // namespace Vexo::Linux
