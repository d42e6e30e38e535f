// Times as people write and read them: "10m" (ago), "yesterday", a time of RFC 3339; and in local time. Pure but for
// the local time zone; any thread.
#pragma once

#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Ctl {

// "30s", "10m", "2h", "1d", "2w", each with or without " ago"; "now", "today" and "yesterday" (from midnight, local
// time); or RFC 3339 with date, time and offset. The error says what is allowed.
[[nodiscard]] Result<WallTime> ParseTime(const std::string& word, WallTime now);

// In local time, in the form of strftime(3).
std::string LocalText(WallTime time, const char* format);

}  // namespace Vexo::Ctl
