// Json: an owned cJSON tree, and the functions that read and write JSON text. Functions without state. No call blocks.
// Only one thread at a time may use a tree. For access to members and types, use cJSON itself (cjson/cJSON.h).
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/base/check.h"
#include "platform/base/result.h"
#include "platform/base/utf8.h"

namespace Vexo {

struct JsonDeleter {
    void operator()(cJSON* json) const noexcept { cJSON_Delete(json); }
    void operator()(char* printed) const noexcept { cJSON_free(printed); }
};
// An owned cJSON tree. Null when memory is short; the functions of cJSON accept null as an empty tree.
using Json = std::unique_ptr<cJSON, JsonDeleter>;
// Text printed by cJSON; null when memory is short.
using PrintedJson = std::unique_ptr<char, JsonDeleter>;

inline Json NewObject()
{
    return Json(cJSON_CreateObject());
}

// Returns null when text does not begin with a JSON value. Ignores what follows the value.
inline Json ParseJson(std::string_view text)
{
    return Json(cJSON_ParseWithLength(text.data(), text.size()));
}

// Parses text that a person may have written: one JSON value and nothing else. The error begins with line and column,
// both counted from 1, the column in bytes: "7:3: the JSON ends too early", "2:8: not JSON from here on". Invalid UTF-8
// is an error. So is a NUL, as a byte or as \u0000, because cJSON would cut the string there.
[[nodiscard]] Result<Json> ParseWholeJson(const std::string& text);

// Returns the value as JSON text without spaces. The text is UTF-8 (RFC 8259, 8.1) and safe to print on a terminal,
// wherever the tree came from (EscapeJson in platform/base/utf8.h). Empty when memory is short.
std::string JsonText(const cJSON* value);
// As JsonText, but indented and with a newline at the end, for files that people open.
std::string IndentedJson(const cJSON* value);

// Adds a string under a key that the object must not have yet. Escapes what a JSON string cannot contain
// (EscapeInvalid).
inline void AddText(cJSON* object, const char* key, const std::string& text)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "the object does not have this key yet");
    cJSON_AddStringToObject(object, key, EscapeInvalid(text).c_str());
}

// Adds a number under a key that the object must not have yet. A number above 2^53 is rounded (RFC 8259, 6).
inline void AddNumber(cJSON* object, const char* key, uint64_t number)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "the object does not have this key yet");
    cJSON_AddNumberToObject(object, key, static_cast<double>(number));
}

// Moves the tree into the object under that key. Adds JSON null for a null tree.
inline void AddMember(cJSON* object, const char* key, Json member)
{
    cJSON_AddItemToObject(object, key, member ? member.release() : cJSON_CreateNull());
}

}  // namespace Vexo
