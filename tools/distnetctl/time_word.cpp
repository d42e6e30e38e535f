#include "tools/distnetctl/time_word.h"

#include <array>
#include <ctime>
#include <optional>
#include <regex>

#include "platform/dfx/event_text.h"

namespace Vexo::Ctl {
namespace {

using std::chrono::system_clock;

constexpr int MAX_DIGITS = 6;  // the longest number before a unit; a longer one would be older than any event

std::chrono::seconds UnitOf(char letter)
{
    using namespace std::chrono;
    return letter == 's'   ? seconds(1)
           : letter == 'm' ? seconds(minutes(1))
           : letter == 'h' ? seconds(hours(1))
           : letter == 'd' ? seconds(days(1))
                           : seconds(weeks(1));
}

std::optional<WallTime> Ago(const std::string& word, WallTime now)
{
    static const std::regex FORM("((\\d{1," + std::to_string(MAX_DIGITS) + "}[smhdw])+)( ago)?");
    static const std::regex PART("(\\d+)([smhdw])");
    std::smatch whole;
    if (!std::regex_match(word, whole, FORM)) {
        return std::nullopt;
    }
    const std::string parts = whole[1];
    std::chrono::seconds last = std::chrono::seconds::max();
    for (std::sregex_iterator part(parts.begin(), parts.end(), PART), end; part != end; ++part) {
        const std::chrono::seconds unit = UnitOf(*(*part)[2].first);
        if (unit >= last) {
            return std::nullopt;  // an age such as "30m1h" or "1h1h" is probably a typing error
        }
        last = unit;
        const std::chrono::seconds age = unit * std::stol((*part)[1]);
        if (age > std::chrono::floor<std::chrono::seconds>(now.time_since_epoch())) {
            return std::nullopt;  // before 1970; WallTime cannot hold every such time
        }
        now -= age;
    }
    return now;
}

// Parses a date in local time, with or without a time of day. Returns no value if the word is not a date. The years
// 1900 to 2199 are accepted, because WallTime ends in 2262.
std::optional<WallTime> LocalDate(const std::string& word)
{
    static const std::regex FORM("((?:19|20|21)\\d\\d)-(\\d\\d)-(\\d\\d)([ T](\\d\\d):(\\d\\d)(:(\\d\\d))?)?");
    std::smatch parts;
    if (!std::regex_match(word, parts, FORM)) {
        return std::nullopt;
    }
    const auto number = [&](size_t at) { return parts[at].matched ? std::stoi(parts[at]) : 0; };
    std::tm given{};
    given.tm_year = number(1) - 1900;
    given.tm_mon = number(2) - 1;
    given.tm_mday = number(3);
    given.tm_hour = number(5);
    given.tm_min = number(6);
    given.tm_sec = number(8);
    given.tm_isdst = -1;  // mktime finds out whether daylight saving time applied at that time
    std::tm made = given;
    const WallTime time = system_clock::from_time_t(std::mktime(&made));
    // mktime changes an invalid date such as February 30 to a day in March, so the month and the day are compared. The
    // hour is not compared, because mktime may change it when daylight saving time begins.
    const bool isDate = made.tm_mon == given.tm_mon && made.tm_mday == given.tm_mday && given.tm_hour < 24 &&
                        given.tm_min < 60 && given.tm_sec < 60;
    return isDate ? std::optional(time) : std::nullopt;
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
    parts.tm_isdst = -1;  // mktime finds out whether daylight saving time applies on that day
    return system_clock::from_time_t(std::mktime(&parts));
}

}  // namespace

Result<WallTime> ParseTime(const std::string& word, WallTime now)
{
    if (word == "now") {
        return now;
    }
    for (const std::optional<WallTime>& time : {Ago(word, now), Midnight(word, now), LocalDate(word),
                                                std::optional<WallTime>(QuviewDFX::ParseRfc3339(word))}) {
        if (time) {
            return *time;
        }
    }
    return Fail(ErrorCode::INVALID_ARGUMENT,
                "\"" + word +
                    "\" is not a time: write an age (10m, 1h30m, 2d, 2w), now, today, yesterday, a date "
                    "(2026-11-21, \"2026-11-21 14:00\"), or a date, time and offset "
                    "(2026-11-21T12:08:06Z)");
}

std::string LocalTextWithOffset(WallTime time)
{
    return LocalText(time, "%Y-%m-%d %H:%M:%S %z").insert(23, ":");
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
