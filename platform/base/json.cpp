#include "platform/base/json.h"

#include <algorithm>

namespace Vexo {
namespace {

// Printed by cJSON, which hands over memory of its own.
std::string Taken(char* printed)
{
    const std::unique_ptr<char, decltype(&cJSON_free)> text(printed, &cJSON_free);
    return text ? EscapeJson(text.get()) : "";
}

}  // namespace

Result<Json> ParseWholeJson(const std::string& text)
{
    const char* stop = text.c_str();
    Json value(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &stop, 1));
    // The parser takes a NUL for a space, or for the end of a name or text.
    size_t offset = text.find('\0');
    if (value == nullptr) {
        offset = std::min(offset, static_cast<size_t>(stop - text.c_str()));
    } else if (offset == std::string::npos) {
        return value;
    }
    // Of a text without its closing quote the parser names the beginning.
    const bool isUnclosed = offset > 0 && text[offset - 1] == '"' && text.find('"', offset) == std::string::npos;
    const bool endsTooEarly = offset >= text.size() || isUnclosed;
    if (endsTooEarly) {
        offset = text.find_last_not_of(" \t\r\n") + 1;
    }
    const std::string_view before = std::string_view(text).substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const size_t column = offset - (before.rfind('\n') + 1) + 1;
    return Error{std::to_string(line) + ":" + std::to_string(column) + ": " +
                 (endsTooEarly ? "the JSON ends too early" : "not JSON from here on")};
}

std::string JsonText(const cJSON* value)
{
    return Taken(cJSON_PrintUnformatted(value));
}

std::string IndentedJson(const cJSON* value)
{
    const std::string text = Taken(cJSON_Print(value));
    return text.empty() ? text : text + "\n";
}

}  // namespace Vexo
