// Formats for a person the facts that devices report about themselves, and amounts of data. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"

namespace Vexo::Ctl {

// "4G, battery 64 %", "no internet: mobile data is off", "does not allow this device". Adds the age of facts older than
// 10 minutes. facts must be printable (printable.h).
std::string FactsText(const Host::DeviceFacts& facts, WallTime now);
// The facts that are shown with the device through which this device is online: "battery 64 %, 4G". May be empty.
std::string UseText(const Host::DeviceFacts& facts);

// An amount of data: "0.3 MB", "212 MB", "1.9 GB". 1 MB is 10^6 bytes, 1 GB is 10^9 bytes.
std::string BytesText(uint64_t bytes);
// An amount of data and its limit: "1.9 of 5 GB", "12 MB of 5 GB".
std::string BytesOfText(uint64_t bytes, uint64_t limit);

// Formats time in local time: "14:02" if it is on the day of now, else "2026-11-21 14:02".
std::string MomentText(std::chrono::sys_seconds time, WallTime now);

}  // namespace Vexo::Ctl
