// Candidates: the order in which an attempt tries the known devices. Pure functions; any thread.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"

namespace Vexo::Host {

// Older facts do not influence the order.
inline constexpr std::chrono::minutes FACTS_COUNT_FOR{10};
// Devices that are not reachable now are tried if they were reached within AWAY_TRIED_FOR, and at most
// MAX_AWAY_CANDIDATES of them.
inline constexpr std::chrono::days AWAY_TRIED_FOR{30};
inline constexpr size_t MAX_AWAY_CANDIDATES = 3;
// A battery at or below this percentage counts as low, unless it is charging.
inline constexpr uint8_t LOW_BATTERY_PERCENT = 20;

// What the order depends on besides the devices themselves.
struct Experience {
    std::vector<std::string> preferred;  // network ids, the best first
    std::map<std::string, std::chrono::sys_seconds>
        successes;                             // when this device was last online through it, by network id
    std::map<std::string, DeviceFacts> facts;  // the latest facts, by network id
    std::chrono::sys_seconds now;
};

// Returns the devices to try, the best first. The order of comparison: reachable before away; devices whose facts
// predict success, then those whose owner must be asked, then those that would fail; preference; last success; battery;
// signal; unmetered before metered. Equal devices keep their order.
std::vector<KnownDevice> RankCandidates(const std::vector<KnownDevice>& devices, const Experience& experience);

}  // namespace Vexo::Host
