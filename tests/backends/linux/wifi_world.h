// Machines for the Wi-Fi tests. Each machine has its own D-Bus bus with the fake NetworkManager
// (fake_network_manager.py). Compiled only into the tests of the Linux backend. scripts/radio-lab tests with the real
// NetworkManager.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "backends/linux/network_manager_wifi.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/backends/linux/private_machine.h"
#include "tests/support/eventually.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {

// The Wi-Fi objects that the daemon of one machine uses.
class WifiMachine {
public:
    WifiMachine(std::string address, const std::string& name) : address_(std::move(address))
    {
        options_.hotspot.stateDir = folder_.Path();
        options_.hotspot.deviceName = name;
        options_.hotspot.networkId = "7f3a11";
        options_.hotspot.switchDelay = std::chrono::milliseconds(60);
        options_.hotspot.limits.checkPeriod = std::chrono::milliseconds(20);
        options_.hotspot.listStations = [this](const std::string&) -> Result<std::vector<Wifi::ShareStation>> {
            return std::vector<Wifi::ShareStation>(stations, {"02:00:5e:10:00:09", 2000, 1000});
        };
        options_.station.searchLimit = std::chrono::seconds(3);  // longer than a bus call on a busy machine
        options_.station.checkPeriod = std::chrono::milliseconds(50);
    }
    ~WifiMachine() { End(); }

    Linux::WifiOptions& Options() { return options_; }
    const std::filesystem::path& Folder() const { return folder_.Path(); }

    // Connects to the bus. Returns as soon as the Wi-Fi has reported whether a hotspot is possible.
    void Start()
    {
        Note(hotspot_, {});
        bus_ = Linux::Bus::Open(address_);
        wifi_ = std::make_unique<Linux::NetworkManagerWifi>(
            bus_, options_,
            Linux::WifiListener{[this](const Linux::Presence& now) { Note(station_, now); },
                                [this](const Linux::Presence& now) { Note(hotspot_, now); },
                                [this](Wifi::WifiLinkState state) { Publish(state); }});
        EXPECT_TRUE(Eventually([this] { return !HotspotPresence().reason.empty(); }));
    }
    void End()
    {
        wifi_.reset();
        bus_.reset();
    }

    Linux::Bus& Bus() { return *bus_; }
    Linux::NetworkManagerWifi& Wifi() { return *wifi_; }
    const sptr<Linux::LinuxWifiHotspot>& Hotspot() { return wifi_->Hotspot(); }
    const sptr<Linux::LinuxWifiDevice>& Station() { return wifi_->Station(); }
    Linux::Presence StationPresence() { return Read(station_); }
    Linux::Presence HotspotPresence() { return Read(hotspot_); }
    EventFwk::CommonEventServer& Events() { return *events_; }
    bool IsHotspotOn()
    {
        bool isOn = false;
        EXPECT_EQ(Hotspot()->IsHotspotActive(isOn), Wifi::WIFI_OK);
        return isOn;
    }
    Wifi::HotspotConfig Config()
    {
        Wifi::HotspotConfig config;
        EXPECT_EQ(Hotspot()->GetHotspotConfig(config), Wifi::WIFI_OK);
        return config;
    }

    std::atomic<size_t> stations{0};  // number of stations connected to the machine's hotspot

private:
    void Note(Linux::Presence& known, const Linux::Presence& now)
    {
        const std::lock_guard lock(mutex_);
        known = now;
    }
    Linux::Presence Read(const Linux::Presence& known)
    {
        const std::lock_guard lock(mutex_);
        return known;
    }
    void Publish(Wifi::WifiLinkState linkState)
    {
        const auto state = linkState == Wifi::WifiLinkState::CONNECTED ? EventFwk::NetConnState::CONNECTED
                           : linkState == Wifi::WifiLinkState::FAILED  ? EventFwk::NetConnState::FAILED
                                                                       : EventFwk::NetConnState::DISCONNECTED;
        EventFwk::Want want;
        want.SetAction(EventFwk::CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE)
            .SetParam(EventFwk::CommonEventSupport::NET_TYPE_PARAMETER, static_cast<int32_t>(EventFwk::NetType::WIFI));
        events_->PublishCommonEvent(EventFwk::CommonEventData(want, static_cast<int32_t>(state)));
    }

    const std::string address_;
    const TempFolder folder_;
    Linux::WifiOptions options_;
    const sptr<EventFwk::CommonEventServer> events_ = MakeSptr<EventFwk::CommonEventServer>();
    std::mutex mutex_;
    Linux::Presence station_;
    Linux::Presence hotspot_;
    std::shared_ptr<Linux::Bus> bus_;
    std::unique_ptr<Linux::NetworkManagerWifi> wifi_;
};

// One fake NetworkManager process that serves the bus of a phone and the bus of a laptop. The simulated radios of both
// are within range of each other.
class Air {
public:
    static constexpr const char* USERS_HOTSPOT = "11111111-1111-4111-8111-111111111111";
    static constexpr const char* USERS_NETWORK = "22222222-2222-4222-8222-222222222222";

    Air()
    {
        phone_.Start("NetworkManager", {"/usr/bin/python3", FAKE_NETWORK_MANAGER, phone_.Address(), laptop_.Address()});
        phone_.AwaitService(Linux::NETWORK_MANAGER, "NetworkManager");
        const bool isPresent = Eventually([&] { return static_cast<bool>(Do(laptop_, "{\"do\": \"state\"}")); });
        EXPECT_TRUE(isPresent) << phone_.Output("NetworkManager");
    }

    PrivateMachine& Phone() { return phone_; }
    PrivateMachine& Laptop() { return laptop_; }

    // Sends a command to fake_network_manager.py. Returns the script's answer, which is JSON.
    static Result<std::string> Do(PrivateMachine& machine, const std::string& command)
    {
        return machine.Bus().Call<std::string>({"test.Control", "/test", "test.Control"}, "Do", Linux::BUS_CALL_LIMIT,
                                               command);
    }
    static std::string State(PrivateMachine& machine)
    {
        const Result<std::string> state = Do(machine, "{\"do\": \"state\"}");
        return state ? state.value() : state.error().message;
    }

    // Adds the profile to NetworkManager, or updates the profile that has the same UUID. Returns the profile's D-Bus
    // path. isUsers: true for a profile of the user. Such a profile gets no mark that says that this service created
    // it.
    static std::string StoreProfile(Linux::Bus& bus, Linux::SettingsMap settings, bool isUsers = true)
    {
        if (isUsers) {
            settings.erase("user");
        }
        const Linux::NetworkManager manager{std::shared_ptr<Linux::Bus>(&bus, [](Linux::Bus*) {})};
        const Linux::BusObject all{Linux::NETWORK_MANAGER, "/org/freedesktop/NetworkManager/Settings",
                                   "org.freedesktop.NetworkManager.Settings"};
        const std::string uuid = settings["connection"]["uuid"].get<std::string>();
        if (const auto known = manager.FindProfile(uuid)) {
            const auto updated = bus.Call({all.service, known.value().path, all.interface + ".Connection"}, "Update",
                                          WAIT_LIMIT, settings);
            EXPECT_TRUE(updated) << updated.error().message;
            return known.value().path;
        }
        const auto added = bus.Call<sdbus::ObjectPath>(all, "AddConnection", WAIT_LIMIT, settings);
        EXPECT_TRUE(added) << added.error().message;
        return added ? std::string(added.value()) : "";
    }

private:
    PrivateMachine phone_;
    PrivateMachine laptop_;
};

inline Linux::SettingsMap HotspotProfile(const std::string& ssid, const std::string& key, Wifi::KeyMgmt security)
{
    Wifi::HotspotConfig config;
    config.SetSsid(ssid);
    config.SetPreSharedKey(key);
    return Linux::MakeHotspotProfile(Air::USERS_HOTSPOT, config, {security, "", 0});
}

}  // namespace Vexo::Tests
