// Bytes as lower-case hex characters, as ids and keys are written. Functions without state; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Vexo {

inline constexpr size_t ID_CHARACTERS = 64;  // of a network id or a device id

// Two characters a byte.
std::string HexOf(std::span<const uint8_t> bytes);
// The bytes of such text; empty for other text.
std::string BytesOfHex(std::string_view text);
// Whether the text has the form of a network id or a device id: ID_CHARACTERS lower-case hex characters.
bool IsHexId(std::string_view text);

}  // namespace Vexo
