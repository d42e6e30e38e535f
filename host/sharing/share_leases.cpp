#include "host/sharing/share_leases.h"

#include <algorithm>
#include <utility>

namespace Vexo::Host {
namespace {

constexpr std::chrono::minutes ADMISSION_KEPT{10};  // longer than an attempt, so that a release is recognized
constexpr std::chrono::seconds LEAVING{10};

}  // namespace

void ShareLeases::OnAdmitted(const std::string& networkId, SteadyTime now)
{
    std::erase_if(admitted_, [&](const auto& entry) { return now - entry.second >= ADMISSION_KEPT; });
    if (admitted_.contains(networkId) || admitted_.size() < MAX_SHARE_DEVICES) {
        admitted_[networkId] = now;
    }
}

ShareLeases::Renewal ShareLeases::Renew(const std::string& networkId, const std::string& macAddress,
                                        const ShareTime& now)
{
    const bool isNew = !leases_.contains(networkId);
    if (isNew && leases_.size() >= MAX_SHARE_DEVICES) {
        return Renewal::TOO_MANY;
    }
    const auto left = leaving_.find(macAddress);
    if (isNew && !admitted_.contains(networkId) && left != leaving_.end() && now.boot < left->second) {
        return Renewal::LATE;
    }
    Lease& lease = leases_.try_emplace(networkId, Lease{macAddress, now.wall, now.boot, now.boot}).first->second;
    lease.macAddress = macAddress;
    lease.renewed = now.boot;
    admitted_.erase(networkId);
    leaving_.erase(macAddress);
    unusedSince_.reset();
    return isNew ? Renewal::BEGUN : Renewal::RENEWED;
}

ShareLeases::Ended ShareLeases::End(const std::string& networkId, const std::string& macAddress, SteadyTime now)
{
    Ended ended;
    ended.wasKnown = admitted_.erase(networkId) != 0;
    std::string leaving = macAddress;
    if (const auto lease = leases_.find(networkId); lease != leases_.end()) {
        ended = {true, true};
        leaving = leaving.empty() ? lease->second.macAddress : leaving;
        leases_.erase(lease);
        unusedSince_ = now;
    }
    if (ended.wasKnown && !leaving.empty()) {
        std::erase_if(leaving_, [&](const auto& entry) { return now >= entry.second; });
        leaving_[leaving] = now + LEAVING;
    }
    return ended;
}

std::vector<ShareLeases::EndedLease> ShareLeases::OnHotspotState(const Wifi::ShareInfo& info, SteadyTime now)
{
    std::vector<EndedLease> ended;
    for (auto lease = leases_.begin(); lease != leases_.end();) {
        const bool isExpired = now - lease->second.renewed >= LEASE_LIFE;
        if (info.isOn && !isExpired) {
            ++lease;
            continue;
        }
        ended.push_back({lease->first, info.isOn ? LeaseEnd::EXPIRED : LeaseEnd::CLOSED});
        lease = leases_.erase(lease);
        unusedSince_ = now;
    }
    if (!info.isOn || std::exchange(openingNumber_, info.openingNumber) != info.openingNumber) {
        unusedSince_.reset();
    }
    if (unusedSince_ && (!leases_.empty() || !info.stations.empty() || IsJoining(now))) {
        unusedSince_ = now;
    }
    return ended;
}

bool ShareLeases::IsJoining(SteadyTime now) const
{
    return std::any_of(admitted_.begin(), admitted_.end(),
                       [now](const auto& entry) { return now - entry.second < JOINING_LIFE; });
}

bool ShareLeases::IsUnused(const Wifi::ShareInfo& info, SteadyTime now) const
{
    const auto isLeaving = [&](const Wifi::ShareStation& station) {
        const auto found = leaving_.find(station.macAddress);
        return found != leaving_.end() && now < found->second;
    };
    return leases_.empty() && !IsJoining(now) && std::all_of(info.stations.begin(), info.stations.end(), isLeaving);
}

std::vector<ShareUser> ShareLeases::Users(const std::map<std::string, ShareUsage::Station>& stations) const
{
    std::map<std::string, std::pair<SteadyTime, std::string>> owners;  // keyed by MAC address
    for (const auto& [networkId, lease] : leases_) {
        const std::pair claim(lease.began, networkId);
        auto& owner = owners.try_emplace(lease.macAddress, claim).first->second;
        owner = std::min(owner, claim);
    }
    std::vector<ShareUser> users;
    for (const auto& [networkId, lease] : leases_) {
        ShareUser& user = users.emplace_back();
        user.networkId = networkId;
        user.macAddress = lease.macAddress;
        user.since = SecondsOf(lease.since);
        user.hasLease = true;
        const auto station = stations.find(lease.macAddress);
        if (station != stations.end() && owners[lease.macAddress].second == networkId) {
            user.since = std::min(user.since, station->second.since);
            user.bytes = station->second.bytes;
            user.isConnected = station->second.isConnected;
        }
    }
    for (const auto& [macAddress, station] : stations) {
        if (station.isConnected && !owners.contains(macAddress)) {
            users.push_back({"", "", macAddress, station.since, station.bytes, false, true});
        }
    }
    return users;
}

}  // namespace Vexo::Host
