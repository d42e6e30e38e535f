// Candidates: the order in which an attempt tries the known devices. Pure functions; any thread.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"

namespace Vexo::Host {

// Facts that are older do not count for the order.
inline constexpr std::chrono::minutes FACTS_COUNT_FOR{10};
// Of the devices that are away, those that were reached within this time are tried, and no more than so many.
inline constexpr std::chrono::days AWAY_TRIED_FOR{30};
inline constexpr size_t MAX_AWAY_CANDIDATES = 3;
// A battery at or below this percentage counts as low, unless it charges.
inline constexpr uint8_t LOW_BATTERY_PERCENT = 20;

// What the order depends on beside the devices themselves.
struct Experience {
    std::vector<std::string> preferred;                         // network ids, the best first
    std::map<std::string, std::chrono::sys_seconds> successes;  // when this device was last online through each
    std::map<std::string, DeviceFacts> facts;                   // what each said last
    std::chrono::sys_seconds now;
};

// The devices worth a try, the best first: reachable ones before those that are away; then those whose facts do not
// speak against them; then by preference, last success, battery, signal, and unmetered before metered. Equal ones keep
// their order.
std::vector<KnownDevice> RankCandidates(const std::vector<KnownDevice>& devices, const Experience& experience);

}  // namespace Vexo::Host
