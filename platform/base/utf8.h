// UTF-8 (RFC 3629) in text from outside: validation, escaping for display, and length. The only place that decodes
// UTF-8. Pure functions; any thread. No call blocks.
//
// An escaped byte is "\xNN": a backslash, an x and two lower-case hex digits. A character is escaped byte by byte, so
// U+009B, which is C2 9B, becomes "\xc2\x9b".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/result.h"

namespace Vexo {

// Returns true when all of text is valid UTF-8. NUL is valid; overlong forms and surrogates are not.
bool IsUtf8(std::string_view text);
// Returns the length in bytes of the longest prefix that is valid UTF-8.
size_t Utf8PrefixSize(std::string_view text);
// Returns true when every byte is printable ASCII (0x20 to 0x7E).
bool IsPrintableAscii(std::string_view text);

// Escapes invalid UTF-8 and NUL, which JSON strings and C strings cannot contain. All else stays unchanged.
std::string EscapeInvalid(std::string_view text);

// As EscapeInvalid, but also escapes characters that move the cursor or reorder the text: control characters (C0, DEL,
// C1), line and paragraph separators, and controls of the writing direction. For terminals and log lines. Escaping
// twice changes nothing.
std::string EscapeHidden(std::string_view text);

// As EscapeHidden, but also doubles each backslash, so that different inputs never give the same result and
// UnescapeBytes can undo it. For names that may contain any bytes, such as an SSID.
std::string EscapeBytes(std::string_view bytes);
// Undoes EscapeBytes. Also accepts text that a person typed, where bytes may be unescaped that EscapeBytes would
// escape, and the digits of \xNN may be upper-case. The error gives the position of a backslash that begins no escape.
[[nodiscard]] Result<std::string> UnescapeBytes(std::string_view text);

// Makes JSON text safe to print. Hidden characters from DEL upwards become \uNNNN, which a JSON parser reads back as
// the same character. Invalid UTF-8 is escaped inside its JSON string: a parser reads it back as the text \xNN.
std::string EscapeJson(std::string_view json);

// Returns the number of code points. Each byte that is not UTF-8 counts as one.
size_t CodePointCount(std::string_view text);
// Returns the first count code points, or all of text if it has fewer.
std::string_view FirstCodePoints(std::string_view text, size_t count);
// Returns the longest prefix of at most maxBytes bytes that does not end inside a character.
std::string_view CutToBytes(std::string_view text, size_t maxBytes);

}  // namespace Vexo
