#include "backends/linux/power.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "backends/linux/daemon_version.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxPower"};

constexpr const char* SERVICE = "org.freedesktop.UPower";
const BusObject DAEMON{SERVICE, "/org/freedesktop/UPower", SERVICE};
constexpr const char* VERSION = "DaemonVersion";
constexpr const char* WARNING_LEVEL = "WarningLevel";
constexpr uint32_t WARNING_LOW = 3;  // 4: critical; 5: UPower is about to act

constexpr std::array<uint32_t, 3> STATES_ON_MAINS{1, 4, 5};  // charging, full, waits to be charged

// UPower's device for the sum of all batteries.
const BusObject BATTERY{SERVICE, "/org/freedesktop/UPower/devices/DisplayDevice", "org.freedesktop.UPower.Device"};

}  // namespace

Power::Power(std::shared_ptr<Bus> bus, PresenceChanged changed, std::function<void()> batteryLow,
             BatteryChanged batteryChanged)
    : bus_(std::move(bus)),
      changed_(std::move(changed)),
      batteryLow_(std::move(batteryLow)),
      batteryChanged_(std::move(batteryChanged))
{
    properties_ = bus_->OnPropertiesChanged(
        strand_, BATTERY, [this](const std::string&, const PropertyMap& battery) { OnProperties(battery); });
    service_ = bus_->OnService(strand_, SERVICE, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); });
}

void Power::OnServiceOwnerChanged(bool hasOwner)
{
    if (!hasOwner) {
        // This class starts UPower over the bus at most once. If UPower stops later, this class does not start it
        // again.
        if (!std::exchange(hasTriedStart_, true) && bus_->GetProperty<std::string>(DAEMON, VERSION)) {
            return;  // this function is called again when UPower has its name
        }
        battery_.clear();
        ReportBattery();
        // isLow_ does not change, because a restart of UPower must not report the same low battery again.
        changed_({false, "UPower does not run"});
        return;
    }
    const Result<std::string> version = AwaitVersion(*bus_, DAEMON, VERSION);
    const Result<PropertyMap> battery = bus_->GetProperties(BATTERY);
    if (battery) {
        OnProperties(battery.value());
    } else {
        QuviewDFX::LogWarn(LABEL, "cannot read the battery from UPower: %{public}s", battery.error().message);
    }
    changed_({true, "UPower" + (version ? " " + version.value() : "")});
}

void Power::ReportBattery()
{
    Network::Battery battery;
    if (ValueIn<bool>(battery_, "IsPresent") && battery_.contains("Percentage")) {
        const double percent = std::clamp(ValueIn<double>(battery_, "Percentage"), 0.0, 100.0);
        battery.percent = static_cast<uint8_t>(std::lround(percent));
        const auto state = ValueIn<uint32_t>(battery_, "State");
        battery.isCharging = std::find(STATES_ON_MAINS.begin(), STATES_ON_MAINS.end(), state) != STATES_ON_MAINS.end();
    }
    batteryChanged_(battery);
}

void Power::OnProperties(const PropertyMap& battery)
{
    for (const auto& [name, value] : battery) {
        battery_.insert_or_assign(name, value);
    }
    ReportBattery();
    if (!battery.contains(WARNING_LEVEL)) {
        return;
    }
    const bool isLow = ValueIn<uint32_t>(battery, WARNING_LEVEL) >= WARNING_LOW;
    if (isLow && !std::exchange(isLow_, isLow)) {
        batteryLow_();
    }
    isLow_ = isLow;
}

}  // namespace Vexo::Linux
