// The texts that records become: times (and back), and JSON lines of system events. Pure functions; any thread. Who
// writes them: event_file.h, journal.h.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// "2026-11-21T12:08:06.123Z" (RFC 3339, UTC, milliseconds). Of two such texts the later time is the greater text.
std::string Rfc3339(std::chrono::system_clock::time_point time);
// The same without milliseconds, of seconds since 1970.
std::string Rfc3339Seconds(std::time_t seconds);
// Of RFC 3339 with date, time and offset, cut to milliseconds; none for anything else, and for a year that
// system_clock does not reach (before 1678, after 2261).
std::optional<std::chrono::sys_time<std::chrono::milliseconds>> ParseRfc3339(std::string_view text);

// {"time":RFC 3339,"domain":,"name":,"type":,"params":{}} and a newline; empty when memory is short.
std::string EventLine(const SysEventRecord& record);

}  // namespace Vexo::QuviewDFX
