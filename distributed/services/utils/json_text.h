// FormattedJson: prints a JSON tree in the format that the service sends to peers and callers. Thread-safe. Does not
// block. Owning pointers to JSON trees: platform/base/json.h.
#pragma once

#include <cjson/cJSON.h>

#include <string>

namespace Vexo::NetManagerStandard {

// Prints the tree with line ends and tabs. Bytes above 0x7F in strings are not escaped. Returns an empty string if
// memory is short.
std::string FormattedJson(const cJSON* json);

}  // namespace Vexo::NetManagerStandard
