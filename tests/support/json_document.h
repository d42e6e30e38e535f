// Parse: a JSON text of a test as an owned tree; null when it is damaged.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>

namespace Vexo::Tests {

using Document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

inline Document Parse(const std::string& text)
{
    return {cJSON_Parse(text.c_str()), &cJSON_Delete};
}

}  // namespace Vexo::Tests
