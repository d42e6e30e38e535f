#include "host/online/candidates.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace Vexo::Host {
namespace {

// What the DeviceFacts of a device predict about an attempt at that device. A device without DeviceFacts counts as
// GOOD.
enum class Prospect : uint8_t { GOOD, ASKS_OWNER, BAD };

Prospect ProspectOf(const DeviceFacts& facts)
{
    const bool mayAllow = facts.permission == SharingPermission::ALLOWED || facts.permission == SharingPermission::ASKS;
    if (!mayAllow || facts.obstacle != SharingObstacle::NONE || facts.internet == InternetState::NO) {
        return Prospect::BAD;
    }
    return facts.permission == SharingPermission::ASKS ? Prospect::ASKS_OWNER : Prospect::GOOD;
}

// The values that order the devices. A lower rank is better. The elements are compared in order.
using Rank = std::tuple<bool, Prospect, size_t, int64_t, bool, int, bool>;

Rank RankOf(const KnownDevice& device, const Experience& experience)
{
    const auto& preferred = experience.preferred;
    const auto place = std::find(preferred.begin(), preferred.end(), device.networkId) - preferred.begin();
    const auto success = experience.successes.find(device.networkId);
    const int64_t succeededAt = success != experience.successes.end() ? success->second.time_since_epoch().count() : 0;
    const auto found = experience.facts.find(device.networkId);
    DeviceFacts facts;
    if (found != experience.facts.end() && experience.now - found->second.at < FACTS_COUNT_FOR) {
        facts = found->second;
    }
    const bool isLow = facts.batteryPercent.value_or(100) <= LOW_BATTERY_PERCENT && !facts.isCharging;
    return {!device.online,
            ProspectOf(facts),
            static_cast<size_t>(place),
            -succeededAt,
            isLow,
            -static_cast<int>(facts.signalPercent.value_or(0)),
            facts.isMetered.value_or(false)};
}

}  // namespace

std::vector<KnownDevice> RankCandidates(const std::vector<KnownDevice>& devices, const Experience& experience)
{
    std::vector<std::pair<Rank, KnownDevice>> ranked;
    for (const KnownDevice& device : devices) {
        if (device.online || experience.now - device.lastSeen < AWAY_TRIED_FOR) {
            ranked.emplace_back(RankOf(device, experience), device);
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<KnownDevice> candidates;
    size_t away = 0;
    for (auto& [rank, device] : ranked) {
        away += device.online ? 0 : 1;
        if (away <= MAX_AWAY_CANDIDATES) {
            candidates.push_back(std::move(device));
        }
    }
    return candidates;
}

}  // namespace Vexo::Host
