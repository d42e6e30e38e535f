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

// True for UTF-8 from the first byte to the last, NUL included. Overlong forms and surrogates are none.
bool IsUtf8(std::string_view text);
// How long the beginning is that is UTF-8.
size_t Utf8PrefixSize(std::string_view text);
// True when every byte is a character of ASCII that is neither a control character nor DEL.
bool IsPrintableAscii(std::string_view text);

// Escapes bytes that are no UTF-8, and NUL: what a JSON string and a C string cannot hold. All else stays.
std::string EscapeInvalid(std::string_view text);

// Escapes also what moves a cursor or reorders what is read: control characters (C0, DEL, C1), line and paragraph
// separators, and controls of the writing direction. For terminals and log lines. Escaping twice changes nothing.
std::string EscapeHidden(std::string_view text);

// Escapes the same and doubles each backslash, so that no two inputs have one result and a reader can undo it. For
// names that may be any bytes, as an SSID may.
std::string EscapeBytes(std::string_view bytes);
// Undoes EscapeBytes. Bytes that EscapeBytes would have escaped are taken as they are, as a person types them; \xNN may
// have upper-case digits. The error says which backslash begins neither \\ nor \xNN.
[[nodiscard]] Result<std::string> UnescapeBytes(std::string_view text);

// JSON text as it may be printed anywhere: hidden characters from DEL on become \uNNNN, which reads back as the same
// character; a byte that is no UTF-8 reads back as its escape.
std::string EscapeJson(std::string_view json);

// How many code points text has; a byte that is no UTF-8 counts as one.
size_t CodePointCount(std::string_view text);
// The first count code points, or all of text if it has fewer.
std::string_view FirstCodePoints(std::string_view text, size_t count);
// The beginning of text, at most maxBytes long, that ends where a character ends.
std::string_view CutToBytes(std::string_view text, size_t maxBytes);

}  // namespace Vexo
