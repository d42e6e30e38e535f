#include "platform/base/json.h"

#include <algorithm>

namespace Vexo {
namespace {

std::string Escaped(const PrintedJson& text)
{
    return text ? EscapeJson(text.get()) : "";
}

// Returns the position of the offset as "LINE:COLUMN". Line and column are counted from 1. The column is counted in
// bytes.
std::string PlaceOf(std::string_view text, size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const size_t column = offset - (before.rfind('\n') + 1) + 1;
    return std::to_string(line) + ":" + std::to_string(column);
}

// Returns the offset of the first \u0000 escape in valid JSON text, or npos.
size_t FindEscapedNul(std::string_view json)
{
    for (size_t at = json.find('\\'); at != std::string_view::npos; at = json.find('\\', at + 2)) {
        if (json.substr(at).starts_with("\\u0000")) {
            return at;
        }
    }
    return std::string_view::npos;
}

}  // namespace

Result<Json> ParseWholeJson(const std::string& text)
{
    if (const size_t valid = Utf8PrefixSize(text); valid < text.size()) {
        return Fail(ErrorCode::MALFORMED, PlaceOf(text, valid) + ": not UTF-8 from here on");
    }
    const char* stop = text.c_str();
    Json value(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &stop, 1));
    // cJSON treats a NUL byte as white space or as the end of a string, so the code below looks for NUL bytes.
    size_t offset = text.find('\0');
    if (value == nullptr) {
        offset = std::min(offset, static_cast<size_t>(stop - text.c_str()));
    } else if (offset == std::string::npos) {
        if (const size_t escape = FindEscapedNul(text); escape != std::string::npos) {
            return Fail(ErrorCode::MALFORMED, PlaceOf(text, escape) + R"(: a text holds \u0000)");
        }
        return value;
    }
    // For a string without a closing quote, cJSON reports the position after its opening quote.
    const bool isUnclosed = offset > 0 && text[offset - 1] == '"' && text.find('"', offset) == std::string::npos;
    if (offset >= text.size() || isUnclosed) {
        return Fail(ErrorCode::MALFORMED,
                    PlaceOf(text, text.find_last_not_of(" \t\r\n") + 1) + ": the JSON ends too early");
    }
    return Fail(ErrorCode::MALFORMED, PlaceOf(text, offset) + ": not JSON from here on");
}

std::string JsonText(const cJSON* value)
{
    return Escaped(PrintedJson(cJSON_PrintUnformatted(value)));
}

std::string IndentedJson(const cJSON* value)
{
    const std::string text = Escaped(PrintedJson(cJSON_Print(value)));
    return text.empty() ? text : text + "\n";
}

}  // namespace Vexo
