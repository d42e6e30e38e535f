// Formats times and system events as text, and parses times. Pure functions; any thread. Lines of events are written by
// event_file.h.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// Returns RFC 3339 text in UTC with milliseconds: "2026-11-21T12:08:06.123Z". Such texts sort in the order of their
// times.
std::string Rfc3339(std::chrono::system_clock::time_point time);
// The same without milliseconds. seconds counts from 1970-01-01 UTC.
std::string Rfc3339Seconds(std::time_t seconds);
// Parses RFC 3339 text with date, time and offset, and cuts it to milliseconds. Returns no value for any other text,
// and for a year that system_clock cannot represent (before 1678, after 2261).
std::optional<std::chrono::sys_time<std::chrono::milliseconds>> ParseRfc3339(std::string_view text);

// Returns {"time":RFC 3339,"domain":,"name":,"type":,"params":{}} and a newline. Empty: out of memory.
std::string EventLine(const SysEventRecord& record);

}  // namespace Vexo::QuviewDFX
