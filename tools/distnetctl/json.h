// Reading the daemon's answers, so that what they say may be shown: members of a JSON object, with a fallback for each.
// Pure functions; any thread. Trees and their text: platform/base/json.h.
#pragma once

#include <string>

#include "platform/base/json.h"
#include "platform/base/utf8.h"

namespace Vexo::Ctl {

// The member's text as it may be shown, or fallback when it is absent or no string.
inline std::string TextOf(const cJSON* object, const char* key, const std::string& fallback = "")
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsString(member) ? EscapeHidden(member->valuestring) : fallback;
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

}  // namespace Vexo::Ctl
