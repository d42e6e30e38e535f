// ShareControl: the hotspot of this device as something that is shared: who is connected to it, how much it has
// carried, and how it is closed. Beside WifiHotspot (wifi_hotspot.h), which requests of peers use. Each backend
// implements it; any thread may use it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Wifi {

// Why this device closed a hotspot that it had opened: the REASON of the system event NET_SHARE_CLOSED.
namespace ShareClosed {
inline constexpr const char* ASKED = "ASKED";                              // by a call
inline constexpr const char* IDLE = "IDLE";                                // no station for the idle limit
inline constexpr const char* IDLE_WITHOUT_UPLINK = "IDLE_WITHOUT_UPLINK";  // the same, and no uplink
inline constexpr const char* BATTERY_LOW = "BATTERY_LOW";
inline constexpr const char* DAEMON_STOPPED = "DAEMON_STOPPED";
inline constexpr const char* LEFT_OPEN = "LEFT_OPEN";      // found open at a start of the daemon or of NetworkManager
inline constexpr const char* KEY_CHANGED = "KEY_CHANGED";  // a device was removed from the account
inline constexpr const char* TOO_LATE = "TOO_LATE";        // it opened after the call had failed
inline constexpr const char* RELEASED = "RELEASED";        // the device that asked for it is done, and nobody uses it
inline constexpr const char* LEASE_ENDED = "LEASE_ENDED";  // the last lease ended, and no station is connected
inline constexpr const char* BATTERY_FLOOR = "BATTERY_FLOOR";  // below the owner's battery floor
inline constexpr const char* DATA_LIMIT = "DATA_LIMIT";        // the month's bytes are used up
}  // namespace ShareClosed

struct ShareStation {
    std::string macAddress;      // lower case, "02:00:5e:10:00:01"
    uint64_t receivedBytes = 0;  // by this device from the station, since the station joined
    uint64_t sentBytes = 0;      // by this device to the station
};

struct ShareInfo {
    bool isOn = false;          // also true for a hotspot that somebody else turned on
    bool isOpenedHere = false;  // by this daemon, which may therefore close it
    // Counts the hotspots that were turned on since the daemon's start, so that two looks can be told apart.
    uint32_t opening = 0;
    bool areStationsKnown = false;  // false when the kernel does not tell; stations is empty then
    std::vector<ShareStation> stations;
};

class ShareControl : public NoCopyable {
public:
    virtual ~ShareControl() = default;

    // Blocks for the kernel or the disk, not for the radio's daemon: well under 100 ms.
    virtual ShareInfo Look() = 0;
    // Closes the hotspot if this daemon opened it. reason: of ShareClosed. Succeeds also if none is on; REFUSED for a
    // hotspot that somebody else turned on; UNAVAILABLE if the radio's daemon does not answer (it is closed later).
    // Blocks until it is off, at most 3 s.
    [[nodiscard]] virtual Result<void> Close(const char* reason) = 0;
    // changed is called after the hotspot went on or off, on a thread of the backend; it must not block. Call once,
    // before the first peer is served. An empty function ends it, and returns when no call runs any more.
    virtual void SetListener(std::function<void()> changed) = 0;
};

}  // namespace Vexo::Wifi
