// ShareControl: the hotspot through which this device shares its network: which stations are connected, how many bytes
// they used, and closing the hotspot. Requests of peers use WifiHotspot instead (wifi_hotspot.h). Each backend
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
inline constexpr const char* ASKED = "ASKED";                              // a caller asked for it
inline constexpr const char* IDLE = "IDLE";                                // no station for the idle limit
inline constexpr const char* IDLE_WITHOUT_UPLINK = "IDLE_WITHOUT_UPLINK";  // like IDLE, while this device had no uplink
inline constexpr const char* BATTERY_LOW = "BATTERY_LOW";
inline constexpr const char* DAEMON_STOPPED = "DAEMON_STOPPED";
inline constexpr const char* LEFT_OPEN = "LEFT_OPEN";      // found open at a start of the daemon or of NetworkManager
inline constexpr const char* KEY_CHANGED = "KEY_CHANGED";  // a device was removed from the account
inline constexpr const char* TOO_LATE = "TOO_LATE";        // the hotspot opened after the call had failed
inline constexpr const char* RELEASED = "RELEASED";  // released by the device that asked for it; no device uses it
inline constexpr const char* LEASE_ENDED = "LEASE_ENDED";      // the last lease ended, and no station is connected
inline constexpr const char* BATTERY_FLOOR = "BATTERY_FLOOR";  // the battery is below the owner's limit
inline constexpr const char* DATA_LIMIT = "DATA_LIMIT";        // the monthly data limit is reached
}  // namespace ShareClosed

struct ShareStation {
    std::string macAddress;      // lower case, "02:00:5e:10:00:01"
    uint64_t receivedBytes = 0;  // by this device from the station, since the station joined
    uint64_t sentBytes = 0;      // by this device to the station
};

struct ShareInfo {
    bool isOn = false;          // also true for a hotspot that another program opened
    bool isOpenedHere = false;  // opened by this daemon, which may therefore close it
    // Number of hotspots opened since the daemon's start. It shows whether the hotspot was opened anew between two
    // calls of Look.
    uint32_t opening = 0;
    bool areStationsKnown = false;  // false if the kernel does not report stations
    std::vector<ShareStation> stations;
};

class ShareControl : public NoCopyable {
public:
    virtual ~ShareControl() = default;

    // Returns the current state. Blocks on the kernel or the disk, not on the radio's daemon: well under 100 ms.
    virtual ShareInfo Look() = 0;
    // Closes the hotspot if this daemon opened it. reason: a value of ShareClosed. Succeeds also if no hotspot is on.
    // Returns REFUSED for a hotspot that another program opened, and UNAVAILABLE if the radio's daemon does not answer;
    // the hotspot is then closed later. Blocks until the hotspot is off, at most 3 s.
    [[nodiscard]] virtual Result<void> Close(const char* reason) = 0;
    // changed is called after the hotspot was opened or closed, on a thread of the backend; it must not block. Set a
    // function once, before the first peer is served. An empty function ends the calls; SetListener then returns when
    // no call runs any more.
    virtual void SetListener(std::function<void()> changed) = 0;
};

}  // namespace Vexo::Wifi
