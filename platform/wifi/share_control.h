// ShareControl: reports on the hotspot through which this device shares its network, and closes the hotspot. The report
// contains the connected stations and the number of bytes that each of them used. Requests of peers use WifiHotspot
// instead (wifi_hotspot.h). Each backend implements ShareControl. Thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Wifi {

// The reasons why this device closed a hotspot that it had opened: the values of REASON in the system event
// NET_SHARE_CLOSED.
namespace ShareClosed {
inline constexpr const char* ASKED = "ASKED";  // a caller asked to close the hotspot
inline constexpr const char* IDLE = "IDLE";    // no station was connected for the configured idle time
inline constexpr const char* IDLE_WITHOUT_UPLINK = "IDLE_WITHOUT_UPLINK";  // IDLE, and this device had no uplink
inline constexpr const char* BATTERY_LOW = "BATTERY_LOW";
inline constexpr const char* DAEMON_STOPPED = "DAEMON_STOPPED";
inline constexpr const char* LEFT_OPEN = "LEFT_OPEN";      // was still open when the daemon or NetworkManager started
inline constexpr const char* KEY_CHANGED = "KEY_CHANGED";  // a device was removed from the account
inline constexpr const char* TOO_LATE = "TOO_LATE";  // the hotspot opened after EnableHotspot had returned a failure
inline constexpr const char* RELEASED = "RELEASED";  // the requesting device released it; no device uses it
inline constexpr const char* LEASE_ENDED = "LEASE_ENDED";      // no device has a lease, and no station is connected
inline constexpr const char* BATTERY_FLOOR = "BATTERY_FLOOR";  // the battery is below the limit that the owner has set
inline constexpr const char* DATA_LIMIT = "DATA_LIMIT";        // the monthly data limit is reached
}  // namespace ShareClosed

struct ShareStation {
    std::string macAddress;      // lower case, such as "02:00:5e:10:00:01"
    uint64_t receivedBytes = 0;  // received from the station since it joined
    uint64_t sentBytes = 0;      // sent to the station since it joined
};

struct ShareInfo {
    bool isOn = false;          // also true for a hotspot that another program opened
    bool isOpenedHere = false;  // opened by this daemon, which may therefore close it
    // Number of hotspots that were opened since the daemon's start. If two calls of ReadState return different numbers,
    // a hotspot was opened between them.
    uint32_t openingNumber = 0;
    bool areStationsKnown = false;  // false if the kernel does not report stations
    std::vector<ShareStation> stations;
};

class ShareControl : public NoCopyable {
public:
    virtual ~ShareControl() = default;

    // Returns the current state of the hotspot. Waits for the kernel or the disk, but never for the radio's daemon.
    // Blocks for less than 100 ms.
    virtual ShareInfo ReadState() = 0;
    // Closes the hotspot if this daemon opened it. Blocks until the hotspot is off, at most 3 s. Succeeds also if no
    // hotspot is on. Returns REFUSED for a hotspot that another program opened. Returns UNAVAILABLE if the radio's
    // daemon does not answer. The hotspot is then closed later.
    // reason: a value of ShareClosed.
    [[nodiscard]] virtual Result<void> Close(const char* reason) = 0;
    // Sets the function that is called after the hotspot was opened or closed. The backend calls the function on a
    // thread of its own. The function must not block. Set a function once, before the first peer is served. An empty
    // function ends the calls: SetListener then returns when no call runs any more.
    virtual void SetListener(std::function<void()> changed) = 0;
};

}  // namespace Vexo::Wifi
