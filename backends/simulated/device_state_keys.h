// The table of keys of device-state.json: name, type, range, default and meaning of each. Also two kinds of JSON values
// that air records use too. Used by device_state.cpp and air.cpp only. Any thread may use it: the table is constant
// once created.
#pragma once

#include <cstdint>
#include <string>

#include "backends/simulated/device_state.h"
#include "platform/base/json_keys.h"

namespace Vexo::Simulated {

const JsonKeys<DeviceState>& DeviceStateKeys();

// The JsonKind of an SSID: from least (0 or 1) to 32 bytes of any value, which JSON contains escaped (EscapeBytes of
// platform/base/utf8.h).
JsonKind<std::string> SsidKind(size_t least);

// The JsonKind of a byte count: 0 to 2^53, the range in which JSON numbers are exact.
JsonKind<uint64_t> ByteCountKind();

}  // namespace Vexo::Simulated
