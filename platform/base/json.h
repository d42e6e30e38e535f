// Json: an owned cJSON tree, and functions that read and write JSON text. The functions have no state and do not block.
// Only one thread at a time may use a tree. To access members and types, use cJSON itself (cjson/cJSON.h).
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
// An owned cJSON tree, or null when memory could not be allocated. The functions of cJSON treat null as an empty tree.
using Json = std::unique_ptr<cJSON, JsonDeleter>;
// The text that cJSON printed, or null when memory could not be allocated.
using PrintedJson = std::unique_ptr<char, JsonDeleter>;

inline Json NewObject()
{
    return Json(cJSON_CreateObject());
}

// Parses the JSON value at the beginning of the text and ignores the rest. Returns null when the text does not begin
// with a JSON value.
inline Json ParseJson(std::string_view text)
{
    return Json(cJSON_ParseWithLength(text.data(), text.size()));
}

// Parses text that a person may have written. The text must contain one JSON value and nothing else. An error message
// begins with the line and the column, such as "7:3: the JSON ends too early". Line and column are counted from 1. The
// column is counted in bytes. Invalid UTF-8 is an error. A NUL, as a byte or as \u0000, is also an error, because cJSON
// would end the string there.
[[nodiscard]] Result<Json> ParseWholeJson(const std::string& text);

// Returns the value as JSON text without spaces, or an empty string when memory could not be allocated. The text is
// valid UTF-8 (RFC 8259, 8.1) and safe to print on a terminal, even if the tree contains text from another device
// (EscapeJson in platform/base/utf8.h).
std::string JsonText(const cJSON* value);
// Returns the value as indented JSON text with a newline at the end, for files that people open. The text is as safe to
// print as that of JsonText.
std::string IndentedJson(const cJSON* value);

// Adds a string to the object under a key that the object must not have yet. Escapes bytes that a JSON string cannot
// contain (EscapeInvalid).
inline void AddText(cJSON* object, const char* key, const std::string& text)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "the object does not have this key yet");
    cJSON_AddStringToObject(object, key, EscapeInvalid(text).c_str());
}

// Adds a number to the object under a key that the object must not have yet. A number above 2^53 is rounded (RFC 8259,
// 6).
inline void AddNumber(cJSON* object, const char* key, uint64_t number)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "the object does not have this key yet");
    cJSON_AddNumberToObject(object, key, static_cast<double>(number));
}

// Moves the tree into the object under the given key. Adds JSON null when the tree is null.
inline void AddMember(cJSON* object, const char* key, Json member)
{
    cJSON_AddItemToObject(object, key, member ? member.release() : cJSON_CreateNull());
}

}  // namespace Vexo
