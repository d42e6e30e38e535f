// Reads times as people type them ("10m" ago, "yesterday", RFC 3339) and prints times in local time. Functions without
// state that depend on the local time zone; any thread.
#pragma once

#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Ctl {

// Accepts "30s", "10m", "2h", "1d" and "2w", with or without " ago"; "now"; "today" and "yesterday", which mean
// midnight in local time; and RFC 3339 with date, time and offset. The error says what is allowed.
[[nodiscard]] Result<WallTime> ParseTime(const std::string& word, WallTime now);

// time in local time, formatted by strftime(3).
std::string LocalText(WallTime time, const char* format);

}  // namespace Vexo::Ctl
