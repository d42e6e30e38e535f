// ResponseFrame: encodes the answer of a peer to a start-hotspot request. The frame contains the type 4, the length
// (little-endian) and the JSON text.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::Tests {

// declared: the length in the header of the frame. If it is negative, the header contains the length of the text.
inline std::string ResponseFrame(const std::string& json, int64_t declared = -1)
{
    const auto length = static_cast<uint32_t>(declared >= 0 ? declared : static_cast<int64_t>(json.size()));
    std::string frame{4};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        frame += static_cast<char>((length >> shift) & 0xFFU);
    }
    return frame + json;
}

}  // namespace Vexo::Tests
