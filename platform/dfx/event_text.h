// Formats times and system events as text, and parses times. All functions are pure. Thread-safe. event_file.h writes
// the lines of events.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// Returns RFC 3339 text in UTC with milliseconds, such as "2026-11-21T12:08:06.123Z". If such texts are sorted, the
// times are in order.
std::string Rfc3339(std::chrono::system_clock::time_point time);
// Returns RFC 3339 text in UTC without milliseconds. seconds: the seconds since 1970-01-01 UTC.
std::string Rfc3339Seconds(std::time_t seconds);
// Parses RFC 3339 text with date, time and offset. Digits after the milliseconds are cut off. Returns no value for any
// other text, and for a year that system_clock cannot represent (before 1678 or after 2261).
std::optional<std::chrono::sys_time<std::chrono::milliseconds>> ParseRfc3339(std::string_view text);

// Returns the event as a line of JSON with a newline: {"time":RFC 3339,"domain":,"name":,"type":,"params":{}}. Returns
// an empty string if memory runs out.
std::string EventLine(const SysEventRecord& record);

}  // namespace Vexo::QuviewDFX
