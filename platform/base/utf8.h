// UTF-8 (RFC 3629) in text from outside: validation, escaping for display, and length. No other code of DistNet decodes
// UTF-8. The functions are thread-safe and do not block.
//
// An escaped byte is "\xNN": a backslash, an x and two lower-case hex digits. Each byte of a character is escaped
// separately. For example, U+009B has the bytes C2 9B and becomes "\xc2\x9b".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/result.h"

namespace Vexo {

// Returns true when the whole text is valid UTF-8. NUL is valid. Overlong forms and surrogates are not valid.
bool IsUtf8(std::string_view text);
// Returns the length in bytes of the longest prefix that is valid UTF-8.
size_t Utf8PrefixSize(std::string_view text);
// Returns true when every byte of the text is printable ASCII (0x20 to 0x7E).
bool IsPrintableAscii(std::string_view text);

// Escapes bytes that are not valid UTF-8, and NUL, because JSON strings and C strings cannot contain such bytes. All
// other characters stay unchanged.
std::string EscapeInvalid(std::string_view text);

// Escapes invalid UTF-8, NUL, and characters that move the cursor or reorder the text: control characters (C0, DEL,
// C1), line and paragraph separators, and controls of the writing direction. Use this function for terminals and log
// lines. Escaping the result again changes nothing.
std::string EscapeHidden(std::string_view text);

// Escapes the same characters as EscapeHidden, and also doubles each backslash. Different inputs therefore never give
// the same result, and UnescapeBytes can restore the bytes. Use this function for names that may contain any bytes,
// such as an SSID.
std::string EscapeBytes(std::string_view bytes);
// Restores the bytes from the result of EscapeBytes. Also accepts text that a person typed: such text may contain
// characters that EscapeBytes would escape, and the digits of \xNN may be upper-case. The error gives the position of a
// backslash that does not begin an escape.
[[nodiscard]] Result<std::string> UnescapeBytes(std::string_view text);

// Makes JSON text safe to print. The characters from DEL upwards that EscapeHidden escapes become \uNNNN, which a JSON
// parser reads as the same character. Bytes that are not valid UTF-8 are escaped inside their JSON string, and a JSON
// parser reads them as the text \xNN.
std::string EscapeJson(std::string_view json);

// Returns the number of code points in the text. Each byte that is not valid UTF-8 counts as one code point.
size_t CodePointCount(std::string_view text);
// Returns the beginning of the text. count: the number of code points to return. If the text has fewer, returns the
// whole text.
std::string_view FirstCodePoints(std::string_view text, size_t count);
// Returns the longest prefix of the text that has at most maxBytes bytes and does not end inside a character.
std::string_view CutToBytes(std::string_view text, size_t maxBytes);

}  // namespace Vexo
