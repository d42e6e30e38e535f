// What a person means by a time: "10m" (ago), "yesterday", or a time of RFC 3339. Pure function; any thread.
#pragma once

#include <chrono>
#include <string>

#include "platform/base/result.h"

namespace Vexo::Ctl {

// "30s", "10m", "2h", "1d", "2w", each with or without " ago"; "now", "today" and "yesterday" (from midnight, local
// time); or RFC 3339 with date, time and offset. The error says what is allowed.
Result<std::chrono::system_clock::time_point> ParseTime(const std::string& word,
                                                        std::chrono::system_clock::time_point now);

}  // namespace Vexo::Ctl
