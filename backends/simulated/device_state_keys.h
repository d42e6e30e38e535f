// The table of keys of device-state.json, from which everything about a key follows, and the kind of an SSID, for the
// air too. Used by device_state.cpp and air.cpp only. Constant once made: any thread.
#pragma once

#include <cstdint>
#include <string>

#include "backends/simulated/device_state.h"
#include "platform/base/json_keys.h"

namespace Vexo::Simulated {

const JsonKeys<DeviceState>& DeviceStateKeys();

// An SSID of least (0 or 1) to 32 bytes of any kind; in JSON they are escaped (EscapeBytes of platform/base/utf8.h).
JsonKind<std::string> SsidKind(size_t least);

// A count of bytes, as exact as JSON is.
JsonKind<uint64_t> ByteCountKind();

}  // namespace Vexo::Simulated
