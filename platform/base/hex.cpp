#include "platform/base/hex.h"

namespace Vexo {
namespace {

constexpr std::string_view DIGITS = "0123456789abcdef";

}  // namespace

std::string HexOf(std::span<const uint8_t> bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        text += DIGITS[byte >> 4U];
        text += DIGITS[byte & 0xFU];
    }
    return text;
}

std::string BytesOfHex(std::string_view text)
{
    if (text.size() % 2 != 0 || text.find_first_not_of(DIGITS) != std::string_view::npos) {
        return {};
    }
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        bytes += static_cast<char>(DIGITS.find(text[i]) << 4U | DIGITS.find(text[i + 1]));
    }
    return bytes;
}

bool IsHexId(std::string_view text)
{
    return text.size() == ID_CHARACTERS && text.find_first_not_of(DIGITS) == std::string_view::npos;
}

}  // namespace Vexo
