// Helpers for benchmarks that run real daemons with simulated radios (tests/end_to_end/world.h).
#pragma once

#include <string>
#include <vector>

#include "tests/end_to_end/world.h"

namespace Vexo::Bench {

// Starts the devices and waits until each sees the first device, and the first device sees each.
void StartAll(EndToEnd::World& world, const std::vector<std::string>& names);

// Returns how long StartDistributedNetwork takes, in microseconds. Exits if it fails.
double TimeStart(Client::DistNetClient& client, const std::string& networkId);
// Measures several starts in sequence like TimeStart, and returns the median time in microseconds.
double TimeStarts(Client::DistNetClient& client, const std::string& networkId, int starts);

// Waits until the device has no open session, for at most 60 s. The collaboration that a start opens is closed 30 s
// after its last use.
void AwaitNoSessions(const EndToEnd::Device& device);

// Waits until the daemons have released what they used (host/memory.h) and their memory has not changed for 2 s.
// Returns the private dirty memory of each daemon in KiB (proc(5), smaps_rollup).
std::vector<double> SettledMemoryKib(const std::vector<EndToEnd::Device*>& devices);

double Median(std::vector<double> values);

}  // namespace Vexo::Bench
