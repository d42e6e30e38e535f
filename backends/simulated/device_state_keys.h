// The table of the keys of device-state.json: the name, type, range, default and meaning of each key. This header also
// declares two kinds of JSON values that the records of the air (air.h) use too. Used by device_state.cpp and air.cpp
// only. Any thread may use the table, because it is constant after its creation.
#pragma once

#include <cstdint>
#include <string>

#include "backends/simulated/device_state.h"
#include "platform/base/json_keys.h"

namespace Vexo::Simulated {

const JsonKeys<DeviceState>& DeviceStateKeys();

// Returns the JsonKind of an SSID. An SSID has at most 32 bytes of any value. JSON contains these bytes escaped
// (EscapeBytes of platform/base/utf8.h). least: the smallest number of bytes, 0 or 1.
JsonKind<std::string> SsidKind(size_t least);

// Returns the JsonKind of a byte count. It may be from 0 to 2^53, the range in which JSON numbers are exact.
JsonKind<uint64_t> ByteCountKind();

}  // namespace Vexo::Simulated
