// What devices say of themselves, and amounts of data, as a person sees them. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"

namespace Vexo::Ctl {

// "4G, battery 64 %", "no internet: mobile data is off", "does not allow this device"; with their age if the facts are
// older than 10 minutes. facts must be printable.
std::string FactsText(const Host::DeviceFacts& facts, WallTime now);
// What stands behind a device's name when this device is online through it: "battery 64 %, 4G". May be empty.
std::string UseText(const Host::DeviceFacts& facts);

// "0.3 MB", "212 MB", "1.9 GB": an MB has 10^6 bytes, a GB 10^9.
std::string BytesText(uint64_t bytes);
// "1.9 of 5 GB", "12 MB of 5 GB".
std::string BytesOfText(uint64_t bytes, uint64_t limit);

// "14:02" on the local day of now, "2026-11-21 14:02" on any other.
std::string MomentText(std::chrono::sys_seconds time, WallTime now);

}  // namespace Vexo::Ctl
