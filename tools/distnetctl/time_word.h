// Parses times that people type ("10m" ago, "yesterday", RFC 3339), and formats times in local time. Stateless
// functions that depend on the local time zone. Any thread.
#pragma once

#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Ctl {

// Parses a time. Accepts an age in units of s, m, h, d and w, the largest unit first ("10m", "1h30m", "10m ago").
// Accepts "now". Accepts "today" and "yesterday", which mean midnight in local time. Accepts a date in local time, with
// or without a time of day ("2026-11-21", "2026-11-21 14:00"). Accepts RFC 3339 with date, time and offset. The error
// message says what is allowed.
[[nodiscard]] Result<WallTime> ParseTime(const std::string& word, WallTime now);

// Formats a time in local time together with the offset from UTC: "2026-11-21 13:08:06 +01:00".
std::string LocalTextWithOffset(WallTime time);
// Formats a time in local time. format: a format of strftime(3).
std::string LocalText(WallTime time, const char* format);

}  // namespace Vexo::Ctl
