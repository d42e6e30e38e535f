// ShareLeases: which devices of the account use this device's hotspot. A device says so by a lease that it renews, and
// names its MAC address; from that, from the stations and from who was admitted a short while ago follows when nobody
// uses the hotspot any more. It only decides: the caller gives the time and the looks, and locks. No call blocks.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/sharing/share_time.h"
#include "host/sharing/share_usage.h"
#include "host/sharing/sharing_settings.h"
#include "interfaces/sharing_answers.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Host {

// How long a device that was admitted counts as one that still joins, and so keeps the hotspot open.
inline constexpr std::chrono::seconds JOINING_LIFE{60};

// Why a lease ended: the REASON of the system event NET_SHARE_LEASE_END.
namespace LeaseEnd {
inline constexpr const char* RELEASED = "RELEASED";  // the device said that it is done
inline constexpr const char* EXPIRED = "EXPIRED";    // it was not renewed
inline constexpr const char* CLOSED = "CLOSED";      // the hotspot went off
inline constexpr const char* DENIED = "DENIED";      // the owner does not allow the device any more
inline constexpr const char* REMOVED = "REMOVED";    // the device is no member of the account any more
}  // namespace LeaseEnd

class ShareLeases {
public:
    explicit ShareLeases(std::chrono::seconds closesAfter) : closesAfter_(closesAfter) {}

    // The device may use the service, and will ask for the hotspot: it may be joining.
    void OnAdmitted(const std::string& networkId, SteadyTime now);

    enum class Renewal { BEGUN, RENEWED, TOO_MANY };
    Renewal Renew(const std::string& networkId, const std::string& macAddress, const ShareTime& now);

    struct Ended {
        bool hadLease = false;
        bool wasKnown = false;  // it had a lease, or was admitted: a hotspot may be open because of it
    };
    // The device is done. macAddress: of its station, which is about to leave and does not count as a user; empty: that
    // of its lease.
    Ended End(const std::string& networkId, const std::string& macAddress, SteadyTime now);

    struct EndedLease {
        std::string networkId;
        const char* reason;
    };
    // Returns the leases that ended because of the time or of what the look saw.
    std::vector<EndedLease> OnLook(const Wifi::ShareInfo& info, SteadyTime now);

    // Nobody has a lease, may be joining, or is connected, but for stations of devices that said that they are done.
    bool IsUnused(const Wifi::ShareInfo& info, SteadyTime now) const;
    // The last lease ended, and nobody has used the hotspot since then for closesAfter.
    bool HasEnded(SteadyTime now) const { return unusedSince_ && now - *unusedSince_ >= closesAfter_; }

    bool IsEmpty() const { return leases_.empty(); }
    bool Has(const std::string& networkId) const { return leases_.contains(networkId); }
    // Leases first, then stations that no lease names; without device names. A station belongs to the lease that named
    // it first.
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
    std::map<std::string, SteadyTime> admitted_;  // no renewal and no release since
    std::map<std::string, SteadyTime> leaving_;   // by MAC address: until when it does not count
    std::optional<SteadyTime> unusedSince_;       // set when the last lease ends; no value: there was none
    uint32_t opening_ = 0;
};

}  // namespace Vexo::Host
