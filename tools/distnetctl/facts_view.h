// Formats amounts of data, and the DeviceFacts that devices report about themselves, for a person. Pure functions; any
// thread.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"

namespace Vexo::Ctl {

// Returns text such as "4G, battery 64 %", "no internet: mobile data is off" or "does not allow this device". If the
// facts are older than 10 minutes, adds their age. facts: its texts must be printable (printable.h).
std::string FactsText(const Host::DeviceFacts& facts, WallTime now);
// Returns a text for the DeviceFacts of a device that provides the internet connection of this device: "battery 64 %,
// 4G". May be empty.
std::string UseText(const Host::DeviceFacts& facts);

// Returns an amount of data: "0.3 MB", "212 MB", "1.9 GB". 1 MB is 10^6 bytes, and 1 GB is 10^9 bytes.
std::string BytesText(uint64_t bytes);
// Returns an amount of data together with its upper limit: "1.9 of 5 GB", "12 MB of 5 GB".
std::string BytesOfText(uint64_t bytes, uint64_t limit);

// Formats a point in time in local time: "14:02" if it is today, else "2026-11-21 14:02". now: the current time.
std::string MomentText(std::chrono::sys_seconds time, WallTime now);

}  // namespace Vexo::Ctl
