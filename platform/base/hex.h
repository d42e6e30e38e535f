// Converts between bytes and lower-case hex text. Ids and keys are written as such text. The functions are thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Vexo {

inline constexpr size_t ID_CHARACTERS = 64;  // length of a network id and of a device id

// Returns the bytes as lower-case hex text: two characters for each byte.
std::string HexOf(std::span<const uint8_t> bytes);
// Returns the bytes that the hex text stands for. Returns an empty string when the text has an odd length or contains a
// character other than 0-9 and a-f.
std::string BytesOfHex(std::string_view text);
// Returns true if the text has the form of a network id or a device id: ID_CHARACTERS lower-case hex characters.
bool IsHexId(std::string_view text);

}  // namespace Vexo
