// FormattedJson: a JSON tree as the text that the service sends and answers with. Any thread; nothing blocks. Owners of
// trees: platform/base/json.h.
#pragma once

#include <cjson/cJSON.h>

#include <string>

namespace Vexo::NetManagerStandard {

// Over several lines, with tabs, as peers and callers know it; strings keep their bytes. Empty without memory.
std::string FormattedJson(const cJSON* json);

}  // namespace Vexo::NetManagerStandard
