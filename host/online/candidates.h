// Candidates: the order in which an attempt tries the known devices. Any thread may call these pure functions.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"

namespace Vexo::Host {

// DeviceFacts that are older than this do not influence the order of the devices.
inline constexpr std::chrono::minutes FACTS_COUNT_FOR{10};
// A device that is not reachable now is tried if this device reached it within AWAY_TRIED_FOR. At most
// MAX_AWAY_CANDIDATES such devices are tried.
inline constexpr std::chrono::days AWAY_TRIED_FOR{30};
inline constexpr size_t MAX_AWAY_CANDIDATES = 3;
// A battery at or below this percentage counts as low, unless the battery is charging.
inline constexpr uint8_t LOW_BATTERY_PERCENT = 20;

// The data that influences the order of the devices, in addition to each device's KnownDevice.
struct Experience {
    std::vector<std::string> preferred;  // network ids, the best first
    // When this device was last online through each device, by network id.
    std::map<std::string, std::chrono::sys_seconds> successes;
    std::map<std::string, DeviceFacts> facts;  // the latest facts of each device, by network id
    std::chrono::sys_seconds now;
};

// Returns the devices to try, the best first. Devices that are equal by one criterion are compared by the next
// criterion:
// - Reachable devices come before devices that are away.
// - Devices whose DeviceFacts predict success come first, then devices whose owner must be asked, then devices that
//   would fail.
// - Then the user's preference, the last success, the battery and the signal decide, in this order.
// - Unmetered devices come before metered devices. Equal devices keep their order.
std::vector<KnownDevice> RankCandidates(const std::vector<KnownDevice>& devices, const Experience& experience);

}  // namespace Vexo::Host
