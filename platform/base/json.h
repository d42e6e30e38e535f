// Json: a cJSON tree with an owner, and the reading and writing of JSON text that the platform, the daemon and its tool
// share. Functions without state. No call blocks. A tree belongs to one thread at a time. What is left to cJSON itself
// (members, kinds): cjson/cJSON.h.
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
// Null where memory is short, too; cJSON takes a null tree for an empty one.
using Json = std::unique_ptr<cJSON, JsonDeleter>;
// Text that cJSON printed; null where memory is short.
using PrintedJson = std::unique_ptr<char, JsonDeleter>;

inline Json NewObject()
{
    return Json(cJSON_CreateObject());
}

// Null when the text does not begin with JSON.
inline Json ParseJson(std::string_view text)
{
    return Json(cJSON_ParseWithLength(text.data(), text.size()));
}

// For text that a person may have written: one JSON value and nothing else. The error begins with line and column
// (in bytes), both from 1: "7:3: the JSON ends too early", "2:8: not JSON from here on". A NUL in a text or name, where
// cJSON would cut it, is an error, too, escaped or not, as is what is not UTF-8.
[[nodiscard]] Result<Json> ParseWholeJson(const std::string& text);

// The value as JSON text without spaces, in UTF-8 (RFC 8259, 8.1) and safe to print whatever the tree was parsed from
// (EscapeJson of platform/base/utf8.h); empty when memory is short.
std::string JsonText(const cJSON* value);
// The same for files that people open: indented, with a newline at the end.
std::string IndentedJson(const cJSON* value);

// A member for the object, which must not have it yet. What a JSON string cannot hold is escaped (EscapeInvalid).
inline void AddText(cJSON* object, const char* key, const std::string& text)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "an object has a key once");
    cJSON_AddStringToObject(object, key, EscapeInvalid(text).c_str());
}

// The same; beyond 2^53 a JSON number is not exact (RFC 8259, 6).
inline void AddNumber(cJSON* object, const char* key, uint64_t number)
{
    DISTNET_ASSERT(cJSON_GetObjectItemCaseSensitive(object, key) == nullptr, "an object has a key once");
    cJSON_AddNumberToObject(object, key, static_cast<double>(number));
}

// Moves a tree into the object under that key; a null tree becomes null.
inline void AddMember(cJSON* object, const char* key, Json member)
{
    cJSON_AddItemToObject(object, key, member ? member.release() : cJSON_CreateNull());
}

}  // namespace Vexo
