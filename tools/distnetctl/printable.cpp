#include "tools/distnetctl/printable.h"

#include <cstddef>
#include <cstdint>

namespace Vexo::Ctl {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";

struct Range {
    uint32_t first;
    uint32_t last;
};

constexpr Range HIDDEN[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},      // control characters
    {0x200E, 0x200F}, {0x2028, 0x202E},  // direction marks; separators, embedding and override of direction
    {0x2066, 0x2069}, {0xD800, 0xDFFF},  // isolation of direction; surrogates, which UTF-8 does not have
};

// How many bytes a well-formed sequence (RFC 3629) at that place has, and its code point; 0 when there is none.
size_t DecodeAt(const std::string& text, size_t at, uint32_t& codePoint)
{
    const auto byte = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(text[i])); };
    const uint32_t lead = byte(at);
    const size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    codePoint = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80U) {
            return 0;
        }
        codePoint = codePoint << 6U | (byte(at + i) & 0x3FU);
    }
    const bool overlong = (length == 3 && codePoint < 0x800) || (length == 4 && codePoint < 0x10000);
    return overlong || codePoint > 0x10FFFF ? 0 : length;
}

bool IsHidden(uint32_t codePoint)
{
    for (const Range& range : HIDDEN) {
        if (codePoint >= range.first && codePoint <= range.last) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string Printable(const std::string& text)
{
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        uint32_t codePoint = 0;
        const size_t length = DecodeAt(text, at, codePoint);
        if (length == 0 || IsHidden(codePoint)) {
            shown += REPLACEMENT;
        } else {
            shown += text.substr(at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return shown;
}

}  // namespace Vexo::Ctl
