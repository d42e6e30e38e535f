// ShareLeases: tracks which devices of the account use this device's hotspot. A device that uses the hotspot begins a
// lease, renews it, and names its MAC address. From the leases, the connected stations and the recently admitted
// devices, ShareLeases decides when the hotspot is unused. ShareLeases has no clock and no lock. The caller passes the
// time and the hotspot's state (ShareControl::ReadState), and locks a mutex around each call. No call blocks.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/peers/peer_messages.h"
#include "host/sharing/share_time.h"
#include "host/sharing/share_usage.h"
#include "host/sharing/sharing_settings.h"
#include "interfaces/sharing_answers.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Host {

// How long a device that was admitted counts as joining. During this time the hotspot stays open for the device.
inline constexpr std::chrono::seconds JOINING_LIFE{60};

// Why a lease ended: the REASON of the system event NET_SHARE_LEASE_END.
namespace LeaseEnd {
inline constexpr const char* RELEASED = "RELEASED";  // the device released the lease
inline constexpr const char* EXPIRED = "EXPIRED";    // the device did not renew the lease
inline constexpr const char* CLOSED = "CLOSED";      // the hotspot was turned off
inline constexpr const char* DENIED = "DENIED";      // the owner no longer allows the device
inline constexpr const char* REMOVED = "REMOVED";    // the device is no longer a member of the account
}  // namespace LeaseEnd

class ShareLeases {
public:
    explicit ShareLeases(std::chrono::seconds closesAfter) : closesAfter_(closesAfter) {}

    // Call when the device was admitted to the service. The device may then request the hotspot and join it.
    void OnAdmitted(const std::string& networkId, SteadyTime now);

    // LATE: the device released the hotspot a moment ago, and was not admitted since. The renewal was sent before the
    // release, so no lease begins.
    enum class Renewal { BEGUN, RENEWED, TOO_MANY, LATE };
    Renewal Renew(const std::string& networkId, const std::string& macAddress, const ShareTime& now);

    struct Ended {
        bool hadLease = false;
        // the device had a lease or was allowed to use the hotspot, so the hotspot may be open because of this device
        bool wasKnown = false;
    };
    // Call when the device no longer uses the hotspot. macAddress: the device's station; empty: the station that the
    // device's lease names. The station is about to disconnect and no longer counts as a user.
    Ended End(const std::string& networkId, const std::string& macAddress, SteadyTime now);

    struct EndedLease {
        std::string networkId;
        const char* reason;
    };
    // Call with each new state of the hotspot. Returns the leases that ended because they expired or because the
    // hotspot is off.
    std::vector<EndedLease> OnHotspotState(const Wifi::ShareInfo& info, SteadyTime now);

    // Returns true if no device has a lease or may be joining, and no station is connected. Connected stations of
    // devices that released their leases do not count.
    bool IsUnused(const Wifi::ShareInfo& info, SteadyTime now) const;
    // Returns true if the last lease has ended, and the hotspot has been unused for the duration closesAfter_ since
    // then.
    bool IsUnusedLongEnough(SteadyTime now) const { return unusedSince_ && now - *unusedSince_ >= closesAfter_; }

    bool IsEmpty() const { return leases_.empty(); }
    bool Has(const std::string& networkId) const { return leases_.contains(networkId); }
    // Lists the leases, then the stations that no lease names. Device names are not filled in. If several leases name
    // one station, the station belongs to the lease that began first.
    std::vector<ShareUser> Users(const std::map<std::string, ShareUsage::Station>& stations) const;

private:
    struct Lease {
        std::string macAddress;
        WallTime since;
        SteadyTime began;
        SteadyTime renewed;
    };
    bool IsJoining(SteadyTime now) const;

    const std::chrono::seconds closesAfter_;
    std::map<std::string, Lease> leases_;
    // when each device was admitted; an entry is erased when the device's lease begins or the device releases the
    // hotspot
    std::map<std::string, SteadyTime> admitted_;
    std::map<std::string, SteadyTime> leaving_;  // the time until which a station does not count; keyed by MAC address
    std::optional<SteadyTime> unusedSince_;      // no value: a lease exists, or there has been no lease
    uint32_t openingNumber_ = 0;
};

}  // namespace Vexo::Host
