// Conversion between bytes and lower-case hex text, the notation of ids and keys. Functions without state; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Vexo {

inline constexpr size_t ID_CHARACTERS = 64;  // length of a network id and of a device id

// Returns two characters for each byte.
std::string HexOf(std::span<const uint8_t> bytes);
// Returns the bytes that the hex text stands for. Returns an empty string when text has an odd length or contains
// anything but 0-9 and a-f.
std::string BytesOfHex(std::string_view text);
// Whether the text has the form of a network id or a device id: ID_CHARACTERS lower-case hex characters.
bool IsHexId(std::string_view text);

}  // namespace Vexo
