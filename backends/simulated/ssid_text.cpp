#include "backends/simulated/ssid_text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace Vexo::Simulated {
namespace {

constexpr size_t ESCAPE_LENGTH = 4;  // "\xNN"

// The length of the character of well-formed UTF-8 that text begins with; 0 when there is none. RFC 3629, 4
size_t CharacterLength(std::string_view text)
{
    const auto byteAt = [&](size_t index) { return static_cast<uint8_t>(text[index]); };
    const uint8_t lead = byteAt(0);
    const size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const uint8_t second = length > 2 ? byteAt(1) : 0;
    const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool isSurrogate = lead == 0xED && second >= 0xA0;
    const bool isBeyondUnicode = lead == 0xF4 && second >= 0x90;
    return isOverlong || isSurrogate || isBeyondUnicode ? 0 : length;
}

bool IsControl(char c)
{
    return static_cast<uint8_t>(c) < 0x20 || c == 0x7F;
}

}  // namespace

std::string SsidToText(std::string_view ssid)
{
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string text;
    while (!ssid.empty()) {
        const size_t length = IsControl(ssid[0]) ? 0 : CharacterLength(ssid);
        if (length == 0) {
            const auto byte = static_cast<uint8_t>(ssid[0]);
            text += "\\x";
            text += DIGITS[byte >> 4U];
            text += DIGITS[byte & 0x0FU];
        } else {
            text += ssid[0] == '\\' ? std::string_view("\\\\") : ssid.substr(0, length);
        }
        ssid.remove_prefix(std::max<size_t>(length, 1));
    }
    return text;
}

Result<std::string> SsidFromText(std::string_view text)
{
    std::string ssid;
    for (size_t at = 0; at < text.size();) {
        if (text[at] != '\\') {
            ssid += text[at++];
            continue;
        }
        const std::string_view escape = text.substr(at, ESCAPE_LENGTH);
        uint8_t byte = 0;
        if (escape.starts_with("\\\\")) {
            ssid += '\\';
            at += 2;
        } else if (escape.size() == ESCAPE_LENGTH && escape[1] == 'x' &&
                   std::from_chars(escape.data() + 2, escape.end(), byte, 16).ptr == escape.end()) {
            ssid += static_cast<char>(byte);
            at += ESCAPE_LENGTH;
        } else {
            return Error{"the backslash at byte " + std::to_string(at + 1) + R"( begins neither \\ nor \xNN)"};
        }
    }
    return ssid;
}

bool HasNulInText(std::string_view json)
{
    for (size_t at = json.find('\\'); at != std::string_view::npos; at = json.find('\\', at + 2)) {
        if (json.substr(at).starts_with("\\u0000")) {
            return true;
        }
    }
    return false;
}

}  // namespace Vexo::Simulated
