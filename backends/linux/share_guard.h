// ShareGuard: decides when a hotspot that this program turned on must be turned off. It must be turned off when no
// station has been connected for the time ShareLimits::idle. While this device has no uplink, the shorter time
// idleWithoutUplink applies. The class only decides: the caller passes the current time and the state of the hotspot.
// Used on the Wi-Fi strand only (wifi_context.h). No call blocks.
#pragma once

#include <chrono>

#include "platform/base/clock.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Linux {

struct ShareLimits {
    std::chrono::milliseconds idle{std::chrono::minutes(5)};
    std::chrono::milliseconds idleWithoutUplink{std::chrono::minutes(1)};
    std::chrono::milliseconds checkPeriod{std::chrono::seconds(10)};  // how often stations and uplink are checked
};

class ShareGuard {
public:
    using Time = SteadyTime;

    explicit ShareGuard(const ShareLimits& limits) : limits_(limits) {}

    const ShareLimits& Limits() const { return limits_; }
    // Call this when the hotspot was turned on. The time without a station begins now.
    void Open(Time now) { idleSince_ = uplinkLostAt_ = now; }

    // Returns the reason why the hotspot must be closed now (a name of Wifi::ShareClosed). Returns null if it may stay
    // on. isUsed: whether a station is connected.
    const char* ReasonToClose(Time now, bool isUsed, bool hasUplink)
    {
        if (isUsed) {
            idleSince_ = now;
        }
        if (hasUplink) {
            uplinkLostAt_ = now;
        }
        if (now - idleSince_ >= limits_.idle) {
            return Wifi::ShareClosed::IDLE;
        }
        // A station that has just left may come back. So two conditions must both last for the time idleWithoutUplink:
        // no station is connected, and this device has no uplink.
        if (now - idleSince_ >= limits_.idleWithoutUplink && now - uplinkLostAt_ >= limits_.idleWithoutUplink) {
            return Wifi::ShareClosed::IDLE_WITHOUT_UPLINK;
        }
        return nullptr;
    }

private:
    const ShareLimits limits_;
    Time idleSince_;
    Time uplinkLostAt_;
};

}  // namespace Vexo::Linux
