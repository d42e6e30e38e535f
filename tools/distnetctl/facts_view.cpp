#include "tools/distnetctl/facts_view.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "platform/base/text.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {

namespace {

using Host::SharingObstacle;
using Host::SharingPermission;
using Host::UplinkKind;

constexpr std::chrono::minutes OLD{10};
constexpr double MEGABYTE = 1e6;
constexpr double GIGABYTE = 1e9;
// From this number of bytes on, amounts are shown in GB. In MB they would be rounded to "1000 MB".
constexpr double SHOWN_AS_GIGABYTES = 999.5e6;
constexpr double SHOWN_WITH_FRACTION = 9.95e6;

std::string Joined(const std::vector<std::string>& parts)
{
    std::string joined;
    for (const std::string& part : parts) {
        if (!part.empty()) {
            joined += (joined.empty() ? "" : ", ") + part;
        }
    }
    return joined;
}

std::string UplinkText(const Host::DeviceFacts& facts)
{
    switch (facts.uplink) {
        case UplinkKind::NONE:
            break;
        case UplinkKind::MOBILE:
            return facts.technology.empty() ? "mobile data" : facts.technology;
        case UplinkKind::WIRE:
            return "wire";
        case UplinkKind::WIFI:
            return "Wi-Fi";
    }
    return "";
}

std::string SignalText(const Host::DeviceFacts& facts)
{
    return facts.signalPercent ? "signal " + std::to_string(*facts.signalPercent) + " %" : "";
}

std::string BatteryText(const Host::DeviceFacts& facts)
{
    return !facts.batteryPercent
               ? ""
               : "battery " + std::to_string(*facts.batteryPercent) + " %" + (facts.isCharging ? " (charging)" : "");
}

std::string ObstacleText(SharingObstacle obstacle)
{
    switch (obstacle) {
        case SharingObstacle::NONE:
            break;
        case SharingObstacle::WIFI_OFF:
            return "its Wi-Fi is off";
        case SharingObstacle::WIFI_BLOCKED:
            return "its Wi-Fi is blocked";
        case SharingObstacle::NO_HOTSPOT:
            return "cannot open a hotspot";
    }
    return "";
}

std::string PermissionText(SharingPermission permission)
{
    switch (permission) {
        case SharingPermission::ALLOWED:
            break;
        case SharingPermission::ASKS:
            return "asks its owner first";
        case SharingPermission::NOT_ALLOWED:
            return "does not allow this device";
        case SharingPermission::NOT_ANSWERED:
            return "its owner did not allow it";
        case SharingPermission::BATTERY_FLOOR:
            return "its battery is too low to share";
        case SharingPermission::DATA_LIMIT:
            return "its data limit of this month is reached";
    }
    return "";
}

std::string InternetText(const Host::DeviceFacts& facts)
{
    if (facts.internet != Host::InternetState::NO) {
        return "";
    }
    return facts.isMobileDataOff ? "no internet: mobile data is off" : "no internet";
}

// Formats a number with at most one digit after the point, such as "1.9" or "5".
std::string Amount(double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    const std::string amount = text.data();
    return amount.ends_with(".0") ? amount.substr(0, amount.size() - 2) : amount;
}

struct Size {
    std::string amount;
    std::string unit;
};

Size SizeOf(uint64_t bytes)
{
    const auto count = static_cast<double>(bytes);
    if (count >= SHOWN_AS_GIGABYTES) {
        return {Amount(count / GIGABYTE), "GB"};
    }
    if (count >= SHOWN_WITH_FRACTION) {
        return {std::to_string(std::llround(count / MEGABYTE)), "MB"};
    }
    return {Amount(count / MEGABYTE), "MB"};
}

}  // namespace

std::string FactsText(const Host::DeviceFacts& facts, WallTime now)
{
    std::string text = Joined({ObstacleText(facts.obstacle), PermissionText(facts.permission), InternetText(facts),
                               UplinkText(facts), SignalText(facts), BatteryText(facts)});
    const auto age = std::chrono::floor<std::chrono::seconds>(now - facts.at);
    return text.empty() || age < OLD ? text : text + " (" + RoughDuration(age) + " ago)";
}

std::string UseText(const Host::DeviceFacts& facts)
{
    return Joined({BatteryText(facts), UplinkText(facts)});
}

std::string BytesText(uint64_t bytes)
{
    const Size size = SizeOf(bytes);
    return size.amount + " " + size.unit;
}

std::string BytesOfText(uint64_t bytes, uint64_t limit)
{
    const Size used = SizeOf(bytes);
    return (used.unit == SizeOf(limit).unit ? used.amount : BytesText(bytes)) + " of " + BytesText(limit);
}

std::string MomentText(std::chrono::sys_seconds time, WallTime now)
{
    constexpr const char* DAY = "%Y-%m-%d";
    return LocalText(time, LocalText(time, DAY) == LocalText(now, DAY) ? "%H:%M" : "%Y-%m-%d %H:%M");
}

}  // namespace Vexo::Ctl
