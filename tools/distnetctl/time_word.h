// Parses times as people type them ("10m" ago, "yesterday", RFC 3339) and formats times in local time. Stateless
// functions that depend on the local time zone; any thread.
#pragma once

#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Ctl {

// Accepts ages in s, m, h, d and w, the largest unit first ("10m", "1h30m"), with or without " ago"; "now"; "today" and
// "yesterday", which mean midnight in local time; dates in local time, with or without a time of the day ("2026-11-21",
// "2026-11-21 14:00"); and RFC 3339 with date, time and offset. The error says what is allowed.
[[nodiscard]] Result<WallTime> ParseTime(const std::string& word, WallTime now);

// Formats time in local time, with the offset from UTC: "2026-11-21 13:08:06 +01:00".
std::string LocalTextWithOffset(WallTime time);
// Formats time in local time with strftime(3).
std::string LocalText(WallTime time, const char* format);

}  // namespace Vexo::Ctl
