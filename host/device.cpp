#include "host/device.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "backends/linux/avahi.h"
#include "backends/linux/bluetooth.h"
#include "backends/linux/dns_sd_channel.h"
#include "backends/linux/linux_device.h"
#include "backends/simulated/simulated_device.h"

namespace Vexo::Host {
namespace {

// Describes how `distnetctl doctor` checks an ability.
struct AbilityCheck {
    int32_t id;
    const char* name;
    bool isNeeded;  // the check fails if the ability is missing
    const char* advice;
};

constexpr std::array<AbilityCheck, 4> ABILITY_CHECKS{{
    {WIFI_DEVICE_SYS_ABILITY_ID, "radio", true,
     "Needs NetworkManager and a Wi-Fi device that it manages: systemctl start NetworkManager; nmcli device"},
    {WIFI_HOTSPOT_SYS_ABILITY_ID, "hotspot", true,
     "Needs NetworkManager and a Wi-Fi device that can be an access point: nmcli -f WIFI-PROPERTIES device show"},
    {COMMON_EVENT_SERVICE_ID, "events", true, ""},
    {TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID, "modem", false,
     "Mobile data needs ModemManager and a modem: systemctl start ModemManager; mmcli --list-modems"},
}};

const AbilityCheck* FindCheck(int32_t id)
{
    const auto* const found = std::find_if(ABILITY_CHECKS.begin(), ABILITY_CHECKS.end(),
                                           [&](const AbilityCheck& check) { return check.id == id; });
    return found != ABILITY_CHECKS.end() ? found : nullptr;
}

QuviewDFX::HealthCheck CheckOf(const AbilityCheck& check, const Linux::Presence& presence)
{
    if (presence.isBlocked) {
        return QuviewDFX::Unhealthy(
            check.name, presence.reason,
            "Unblock it with the machine's own switch or key; rfkill list shows which blocks it");
    }
    if (presence.isSwitchedOff) {
        return QuviewDFX::Unhealthy(check.name, presence.reason,
                                    "Switch it on: rfkill unblock wifi; nmcli radio wifi on");
    }
    if (presence.isPresent) {
        return QuviewDFX::Healthy(check.name, presence.reason);
    }
    return check.isNeeded ? QuviewDFX::Unhealthy(check.name, presence.reason, check.advice)
                          : QuviewDFX::NotChecked(check.name, presence.reason, check.advice);
}

class SimulatedPlatform final : public Device {
public:
    explicit SimulatedPlatform(std::unique_ptr<Simulated::SimulatedDevice> device) : device_(std::move(device)) {}
    void Stop() override { device_->Stop(); }
    // Returns no lines, because abilities are registered and removed as the state file changes. Each of these changes
    // is logged.
    std::vector<std::string> Lines() const override { return {}; }
    std::vector<QuviewDFX::HealthCheck> Checks() const override { return {}; }
    RadioState Radio() const override
    {
        const auto state = device_->State();
        return !state->stationPresent ? RadioState::ABSENT
               : state->wifiEnabled   ? RadioState::ON
                                      : RadioState::SWITCHED_OFF;
    }

    Result<std::string> ChangeHotspotKey() override { return device_->ChangeHotspotKey(); }
    Wifi::ShareControl& Share() override { return device_->Share(); }
    Wifi::StationControl& Station() override { return device_->Station(); }
    Network::NetworkMonitor& Network() override { return device_->Network(); }
    void SignalShareRequest(const std::string& /*networkId*/, const std::string& /*deviceName*/) override {}
    std::vector<SoftBus::AnnouncementChannelFactory> AnnouncementChannels() const override { return {}; }
    std::vector<SoftBus::TransportFactory> Transports() const override { return {}; }

private:
    const std::unique_ptr<Simulated::SimulatedDevice> device_;
};

class LinuxPlatform final : public Device {
public:
    LinuxPlatform(std::unique_ptr<Linux::LinuxDevice> device, std::shared_ptr<Linux::Bus> bus, bool usesDnsSd,
                  std::optional<Linux::Bluetooth> bluetooth)
        : device_(std::move(device)), bus_(std::move(bus)), usesDnsSd_(usesDnsSd), bluetooth_(std::move(bluetooth))
    {
    }
    void Stop() override { device_->Stop(); }
    std::vector<std::string> Lines() const override
    {
        std::vector<std::string> lines;
        for (const Linux::AbilityState& ability : device_->Abilities()) {
            lines.push_back(
                AbilityLine(ability.id, (ability.presence.isPresent ? "" : "not there: ") + ability.presence.reason));
        }
        return lines;
    }
    std::vector<QuviewDFX::HealthCheck> Checks() const override
    {
        std::vector<QuviewDFX::HealthCheck> checks;
        for (const Linux::AbilityState& ability : device_->Abilities()) {
            if (const AbilityCheck* check = FindCheck(ability.id); check != nullptr) {
                checks.push_back(CheckOf(*check, ability.presence));
            }
        }
        if (usesDnsSd_) {
            checks.push_back(CheckAvahi());
        }
        if (bluetooth_) {
            checks.push_back(CheckBluetooth());
        }
        return checks;
    }
    Result<std::string> ChangeHotspotKey() override { return device_->ChangeHotspotKey(); }
    Wifi::ShareControl& Share() override { return device_->Share(); }
    Wifi::StationControl& Station() override { return device_->Station(); }
    Network::NetworkMonitor& Network() override { return device_->Network(); }
    void SignalShareRequest(const std::string& networkId, const std::string& deviceName) override
    {
        device_->SignalShareRequest(networkId, deviceName);
    }
    std::vector<SoftBus::AnnouncementChannelFactory> AnnouncementChannels() const override
    {
        std::vector<SoftBus::AnnouncementChannelFactory> channels;
        if (usesDnsSd_) {
            channels.emplace_back(
                [bus = bus_](const std::string& listening) { return Linux::MakeDnsSdChannel(listening, bus); });
        }
        if (bluetooth_) {
            channels.push_back(bluetooth_->channel);
        }
        return channels;
    }
    std::vector<SoftBus::TransportFactory> Transports() const override
    {
        return bluetooth_ ? std::vector{bluetooth_->transport} : std::vector<SoftBus::TransportFactory>();
    }
    RadioState Radio() const override
    {
        for (const Linux::AbilityState& ability : device_->Abilities()) {
            if (ability.id == WIFI_DEVICE_SYS_ABILITY_ID && ability.presence.isPresent) {
                return ability.presence.isBlocked       ? RadioState::BLOCKED
                       : ability.presence.isSwitchedOff ? RadioState::SWITCHED_OFF
                                                        : RadioState::ON;
            }
        }
        return RadioState::ABSENT;
    }

private:
    QuviewDFX::HealthCheck CheckAvahi() const
    {
        const Linux::BusObject bus{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};
        const Result<bool> runs =
            bus_->Call<bool>(bus, "NameHasOwner", Linux::BUS_CALL_LIMIT, std::string(Linux::AVAHI));
        return runs.value_or(false)
                   ? QuviewDFX::Healthy("nearby", "Avahi announces this device on its networks and hears of others")
                   : QuviewDFX::NotChecked("nearby",
                                           "not checked: Avahi does not run; devices are looked for at the "
                                           "addresses of softbus.peers and where they were reached before",
                                           "apt install avahi-daemon, or: systemctl start avahi-daemon");
    }

    // A missing Bluetooth adapter is no failure: Bluetooth is optional.
    QuviewDFX::HealthCheck CheckBluetooth() const
    {
        const Linux::BluetoothState state = bluetooth_->state();
        return state.presence.isPresent && !state.presence.isSwitchedOff
                   ? QuviewDFX::Healthy("bluetooth", state.presence.reason)
                   : QuviewDFX::NotChecked("bluetooth", state.presence.reason, state.advice);
    }

    const std::unique_ptr<Linux::LinuxDevice> device_;
    const std::shared_ptr<Linux::Bus> bus_;
    const bool usesDnsSd_;
    const std::optional<Linux::Bluetooth> bluetooth_;
};

std::optional<Linux::Bluetooth> BluetoothOf(const PlatformChoice& choice, const Configuration& configuration)
{
    if (!configuration.bluetooth) {
        return std::nullopt;
    }
    return Linux::MakeBluetooth(
        {configuration.bluetoothBus.empty() ? choice.bus : Linux::Bus::Open(configuration.bluetoothBus),
         configuration.bluetoothAdapter});
}

// Wraps a started platform device in a Platform object: passes the device and arguments to Platform's constructor.
// Returns the error if the device could not be started.
template <typename Platform, typename Started, typename... Arguments>
Result<std::unique_ptr<Device>> AsDevice(Result<std::unique_ptr<Started>> started, Arguments... arguments)
{
    if (!started) {
        return Failure(std::move(started).error());
    }
    return std::unique_ptr<Device>(std::make_unique<Platform>(std::move(started.value()), std::move(arguments)...));
}

}  // namespace

PlatformChoice ChoosePlatform(const Configuration& configuration)
{
    if (configuration.platform == PLATFORM_SIMULATED) {
        return {PLATFORM_SIMULATED, "configured", nullptr};
    }
    std::shared_ptr<Linux::Bus> bus = Linux::Bus::Open(configuration.linuxBus);
    if (configuration.platform == PLATFORM_LINUX) {
        return {PLATFORM_LINUX, "configured", std::move(bus)};
    }
    const Result<std::string> found = Linux::LinuxDevice::Probe(*bus);
    if (found) {
        return {PLATFORM_LINUX, found.value() + " answers", std::move(bus)};
    }
    return {PLATFORM_SIMULATED, "linux is not used, because " + found.error().message, nullptr};
}

Result<std::unique_ptr<Device>> Device::Start(const PlatformChoice& choice, const Configuration& configuration,
                                              const std::string& networkId)
{
    if (choice.platform == PLATFORM_LINUX) {
        Linux::LinuxDeviceOptions options;
        options.bus = choice.bus;
        options.wifi.hotspot.stateDir = configuration.stateDir;
        options.wifi.hotspot.deviceName = configuration.deviceName;
        options.wifi.hotspot.networkId = networkId;
        options.wifi.hotspot.settings = {configuration.hotspotSecurity, configuration.hotspotBand,
                                         configuration.hotspotChannel};
        options.wifi.hotspot.limits.idle = std::chrono::seconds(configuration.hotspotIdleS);
        options.wifi.hotspot.limits.idleWithoutUplink = std::chrono::seconds(configuration.hotspotIdleNoUplinkS);
        return AsDevice<LinuxPlatform>(Linux::LinuxDevice::Start(options), choice.bus, configuration.dnsSd,
                                       BluetoothOf(choice, configuration));
    }
    Simulated::SimulatedDeviceOptions options;
    options.stateDir = configuration.stateDir;
    options.airDir = configuration.airDir;
    options.deviceName = configuration.deviceName;
    options.networkId = networkId;
    return AsDevice<SimulatedPlatform>(Simulated::SimulatedDevice::Start(options));
}

std::string AbilityLine(int32_t systemAbilityId, const std::string& what)
{
    return "ability " + std::to_string(systemAbilityId) + " " + AbilityName(systemAbilityId) + ": " + what;
}

}  // namespace Vexo::Host
