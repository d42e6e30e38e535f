#include "platform/dfx/event_text.h"

#include <algorithm>
#include <array>

#include "platform/base/json.h"

namespace Vexo::QuviewDFX {
namespace {

// The first and the last whole year that a system_clock::time_point can represent.
constexpr int FIRST_YEAR = 1678;
constexpr int LAST_YEAR = 2261;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Parses numbers at the start of text and removes the parsed part. Returns false if text does not match the pattern.
// form: the pattern, such as "0000-00-00". Each 0 stands for one digit. Every other character stands for itself and
// ends a number. numbers: one int for each number of the pattern; the caller sets each int to 0.
bool ParsePattern(std::string_view& text, std::string_view form, std::initializer_list<int*> numbers)
{
    const auto* number = numbers.begin();
    if (text.size() < form.size()) {
        return false;
    }
    for (size_t at = 0; at < form.size(); ++at) {
        if (form[at] != '0') {
            if (text[at] != form[at]) {
                return false;
            }
            ++number;
        } else if (!IsDigit(text[at])) {
            return false;
        } else {
            **number = **number * 10 + (text[at] - '0');
        }
    }
    text.remove_prefix(form.size());
    return true;
}

// Removes a fraction such as ".123" from the front of text and returns its milliseconds, such as 123. Further digits
// are cut off. Returns 0 if text does not start with a point. Returns no value if no digit follows the point.
std::optional<int> TakeMilliseconds(std::string_view& text)
{
    if (!text.starts_with('.')) {
        return 0;
    }
    const auto end = std::find_if_not(text.begin() + 1, text.end(), IsDigit);
    const std::string digits(text.begin() + 1, end);
    text.remove_prefix(digits.size() + 1);
    return digits.empty() ? std::nullopt : std::optional<int>(std::stoi((digits + "00").substr(0, 3)));
}

// Parses the offset from UTC, which is "Z" or a text such as "+02:00". Returns the offset in seconds, positive to the
// east.
std::optional<int> ParseOffset(std::string_view text)
{
    if (text == "Z" || text == "z") {
        return 0;
    }
    const int sign = text.starts_with('-') ? -1 : 1;
    int hours = 0;
    int minutes = 0;
    if (!(text.starts_with('-') || text.starts_with('+'))) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    const bool isOffset = ParsePattern(text, "00:00", {&hours, &minutes}) && text.empty() && hours < 24 && minutes < 60;
    return isOffset ? std::optional<int>(sign * (hours * 60 + minutes) * 60) : std::nullopt;
}

}  // namespace

std::string Rfc3339Seconds(std::time_t seconds)
{
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::string Rfc3339(std::chrono::system_clock::time_point time)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    std::string text = Rfc3339Seconds(second.time_since_epoch().count());
    std::string fraction = std::to_string(std::chrono::floor<std::chrono::milliseconds>(time - second).count());
    fraction.insert(0, 3 - fraction.size(), '0');
    return text.insert(text.size() - 1, "." + fraction);
}

// https://www.rfc-editor.org/rfc/rfc3339#section-5.6
std::optional<std::chrono::sys_time<std::chrono::milliseconds>> ParseRfc3339(std::string_view text)
{
    using namespace std::chrono;
    int parts[6] = {};
    if (!ParsePattern(text, "0000-00-00", {&parts[0], &parts[1], &parts[2]}) || text.empty() ||
        std::string_view("Tt ").find(text.front()) == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    if (!ParsePattern(text, "00:00:00", {&parts[3], &parts[4], &parts[5]})) {
        return std::nullopt;
    }
    const std::optional<int> fraction = TakeMilliseconds(text);
    const std::optional<int> offset = ParseOffset(text);
    const year_month_day date{year(parts[0]), month(static_cast<unsigned>(parts[1])),
                              day(static_cast<unsigned>(parts[2]))};
    const bool isInReach = parts[0] >= FIRST_YEAR && parts[0] <= LAST_YEAR;
    if (!fraction || !offset || !isInReach || !date.ok() || parts[3] > 23 || parts[4] > 59 || parts[5] > 60) {
        return std::nullopt;
    }
    // A leap second (60) counts as second 59.
    return sys_days(date) + hours(parts[3]) + minutes(parts[4]) + seconds(std::min(parts[5], 59) - *offset) +
           milliseconds(*fraction);
}

std::string EventLine(const SysEventRecord& record)
{
    const Json object = NewObject();
    AddText(object.get(), "time", Rfc3339(record.time));
    AddText(object.get(), "domain", record.domain);
    AddText(object.get(), "name", record.name);
    cJSON_AddNumberToObject(object.get(), "type", record.type);
    cJSON* parameters = cJSON_AddObjectToObject(object.get(), "params");
    for (const SysEventParameter& parameter : record.parameters) {
        if (const auto* number = std::get_if<int32_t>(&parameter.value)) {
            cJSON_AddNumberToObject(parameters, parameter.key.c_str(), *number);
        } else {
            AddText(parameters, parameter.key.c_str(), std::get<std::string>(parameter.value));
        }
    }
    const std::string text = JsonText(object.get());
    return text.empty() ? text : text + "\n";
}

}  // namespace Vexo::QuviewDFX
