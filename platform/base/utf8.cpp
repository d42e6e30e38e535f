#include "platform/base/utf8.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>

namespace Vexo {
namespace {

constexpr const char* HEX_DIGITS = "0123456789abcdef";
constexpr char32_t DELETE = 0x7F;

struct Range {
    char32_t first;
    char32_t last;
};

constexpr Range HIDDEN[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},                        // control characters
    {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2066, 0x2069},  // direction marks and isolates
    {0x2028, 0x202E},                                      // separators; embeddings and overrides of the direction
};

bool IsHidden(char32_t character)
{
    return std::any_of(std::begin(HIDDEN), std::end(HIDDEN),
                       [character](const Range& range) { return character >= range.first && character <= range.last; });
}

// Calls visit for each character in order, until visit returns false. visit receives a code point and its bytes. For a
// byte that is not valid UTF-8, visit receives nullopt and that byte.
template <typename Visit>
void ForEachCharacter(std::string_view text, Visit visit)
{
    const auto* at = text.data();
    const auto* const end = at + text.size();
    while (at != end) {
        const auto* const invalid = utf8::find_invalid(at, end);
        while (at != invalid) {
            const auto* const begin = at;
            const auto character = static_cast<char32_t>(utf8::unchecked::next(at));
            if (!visit(std::optional(character), std::string_view(begin, static_cast<size_t>(at - begin)))) {
                return;
            }
        }
        if (at != end && !visit(std::optional<char32_t>(), std::string_view(at++, 1))) {
            return;
        }
    }
}

void AppendEscaped(std::string& out, std::string_view bytes)
{
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += {'\\', 'x', HEX_DIGITS[byte >> 4U], HEX_DIGITS[byte & 0xFU]};
    }
}

template <typename MustEscape>
std::string Escaped(std::string_view text, MustEscape mustEscape)
{
    std::string out;
    out.reserve(text.size());
    ForEachCharacter(text, [&](std::optional<char32_t> character, std::string_view bytes) {
        if (!character || mustEscape(*character)) {
            AppendEscaped(out, bytes);
        } else {
            out += bytes;
        }
        return true;
    });
    return out;
}

}  // namespace

bool IsUtf8(std::string_view text)
{
    return Utf8PrefixSize(text) == text.size();
}

size_t Utf8PrefixSize(std::string_view text)
{
    return static_cast<size_t>(utf8::find_invalid(text.begin(), text.end()) - text.begin());
}

bool IsPrintableAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < static_cast<char>(DELETE); });
}

std::string EscapeInvalid(std::string_view text)
{
    return Escaped(text, [](char32_t character) { return character == 0; });
}

std::string EscapeHidden(std::string_view text)
{
    return IsPrintableAscii(text) ? std::string(text) : Escaped(text, IsHidden);
}

std::string EscapeBytes(std::string_view bytes)
{
    std::string doubled;
    for (const char c : bytes) {
        doubled.append(c == '\\' ? 2 : 1, c);
    }
    return EscapeHidden(doubled);
}

Result<std::string> UnescapeBytes(std::string_view text)
{
    constexpr size_t escapeSize = 4;  // \xNN
    std::string bytes;
    for (size_t at = 0; at < text.size();) {
        if (text[at] != '\\') {
            bytes += text[at++];
            continue;
        }
        const std::string_view escape = text.substr(at, escapeSize);
        uint8_t byte = 0;
        if (escape.starts_with(R"(\\)")) {
            bytes += '\\';
            at += 2;
        } else if (escape.size() == escapeSize && escape[1] == 'x' &&
                   std::from_chars(escape.data() + 2, escape.end(), byte, 16).ptr == escape.end()) {
            bytes += static_cast<char>(byte);
            at += escapeSize;
        } else {
            return Fail(ErrorCode::MALFORMED,
                        "the backslash at byte " + std::to_string(at + 1) + R"( begins neither \\ nor \xNN)");
        }
    }
    return bytes;
}

std::string EscapeJson(std::string_view json)
{
    std::string out;
    out.reserve(json.size());
    ForEachCharacter(json, [&out](std::optional<char32_t> character, std::string_view bytes) {
        if (!character) {
            out += '\\';  // JSON writes one backslash as two backslashes
            AppendEscaped(out, bytes);
        } else if (*character >= DELETE && IsHidden(*character)) {
            out += "\\u";
            for (unsigned shift = 16; shift > 0; shift -= 4) {
                out += HEX_DIGITS[(*character >> (shift - 4)) & 0xFU];
            }
        } else {
            out += bytes;
        }
        return true;
    });
    return out;
}

size_t CodePointCount(std::string_view text)
{
    size_t count = 0;
    ForEachCharacter(text, [&count](std::optional<char32_t> /*character*/, std::string_view /*bytes*/) {
        ++count;
        return true;
    });
    return count;
}

std::string_view FirstCodePoints(std::string_view text, size_t count)
{
    size_t taken = 0;
    ForEachCharacter(text, [&](std::optional<char32_t> /*character*/, std::string_view bytes) {
        if (count == 0) {
            return false;
        }
        --count;
        taken += bytes.size();
        return true;
    });
    return text.substr(0, taken);
}

std::string_view CutToBytes(std::string_view text, size_t maxBytes)
{
    const auto isTrail = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
    size_t end = maxBytes;
    while (end < text.size() && end > 0 && isTrail(text[end])) {
        --end;
    }
    return text.substr(0, end);
}

}  // namespace Vexo
