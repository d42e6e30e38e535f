// Owned cJSON trees and the few reads and writes that distnetctl needs. Not thread-safe.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>

#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

struct JsonDeleter {
    void operator()(cJSON* json) const noexcept { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, JsonDeleter>;

inline Json NewObject()
{
    return Json(cJSON_CreateObject());
}

// Null when the text is no JSON.
inline Json ParseJson(const std::string& text)
{
    return Json(cJSON_ParseWithLength(text.data(), text.size()));
}

// The value as JSON text; empty when memory is short.
inline std::string JsonText(const cJSON* value)
{
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(value), &cJSON_free);
    return text ? text.get() : "";
}

// The member's text as it may be shown, or fallback when it is absent or no string.
inline std::string TextOf(const cJSON* object, const char* key, const std::string& fallback = "")
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsString(member) ? Printable(member->valuestring) : fallback;
}

inline double NumberOf(const cJSON* object, const char* key, double fallback = 0)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(member) ? member->valuedouble : fallback;
}

inline bool IsTrue(const cJSON* object, const char* key)
{
    return cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(object, key)) != 0;
}

// Moves a tree into the object under that key; a null tree becomes null.
inline void AddMember(cJSON* object, const char* key, Json member)
{
    cJSON_AddItemToObject(object, key, member ? member.release() : cJSON_CreateNull());
}

}  // namespace Vexo::Ctl
