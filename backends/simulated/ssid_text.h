// SSIDs as text of the simulated devices' JSON files. An SSID is any bytes; text is UTF-8 without control characters: a
// backslash is written
// "\\", and each byte that is no such text "\xNN". Functions without state; any thread; nothing blocks.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/result.h"

namespace Vexo::Simulated {

std::string SsidToText(std::string_view ssid);
// The bytes of an SSID. Bytes that SsidToText would have written otherwise are taken as they are, as a person types
// them. The error says which backslash begins neither "\\" nor "\xNN".
Result<std::string> SsidFromText(std::string_view text);

// Whether a text of the JSON document holds a NUL ("\u0000"), where cJSON would cut it.
bool HasNulInText(std::string_view json);

}  // namespace Vexo::Simulated
