#include "tools/distnetctl/time_word.h"

#include <array>
#include <ctime>
#include <optional>
#include <regex>

#include "platform/dfx/event_text.h"

namespace Vexo::Ctl {
namespace {

using std::chrono::system_clock;

constexpr int MAX_DIGITS = 6;  // of the count; a larger count would be older than any event

std::optional<WallTime> Ago(const std::string& word, WallTime now)
{
    static const std::regex FORM("(\\d+)([smhdw])( ago)?");
    std::smatch parts;
    if (!std::regex_match(word, parts, FORM) || parts[1].length() > MAX_DIGITS) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const seconds unit = parts[2] == "s"   ? seconds(1)
                         : parts[2] == "m" ? seconds(minutes(1))
                         : parts[2] == "h" ? seconds(hours(1))
                         : parts[2] == "d" ? seconds(days(1))
                                           : seconds(weeks(1));
    return now - unit * std::stol(parts[1]);
}

std::optional<WallTime> Midnight(const std::string& word, WallTime now)
{
    if (word != "today" && word != "yesterday") {
        return std::nullopt;
    }
    const std::time_t seconds = system_clock::to_time_t(now);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_mday -= word == "yesterday" ? 1 : 0;
    parts.tm_isdst = -1;  // let mktime find out, because daylight saving may differ from now
    return system_clock::from_time_t(std::mktime(&parts));
}

}  // namespace

Result<WallTime> ParseTime(const std::string& word, WallTime now)
{
    if (word == "now") {
        return now;
    }
    for (const std::optional<WallTime>& time :
         {Ago(word, now), Midnight(word, now), std::optional<WallTime>(QuviewDFX::ParseRfc3339(word))}) {
        if (time) {
            return *time;
        }
    }
    return Fail(ErrorCode::INVALID_ARGUMENT,
                "\"" + word +
                    "\" is no time (30s, 10m, 2h, 1d or 2w ago; now, today, yesterday; or RFC 3339, as "
                    "2026-11-21T12:08:06Z)");
}

std::string LocalText(WallTime time, const char* format)
{
    const std::time_t seconds = system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

}  // namespace Vexo::Ctl
