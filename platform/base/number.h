// ParseNumber: parses text that consists of one number and nothing else. Thread-safe. Does not block.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace Vexo {

// Returns the number that the text contains. Returns nullopt for any other text, for text with spaces or a plus sign,
// and for a number that the type Number cannot represent.
// base: the base of an integer; 10 if absent.
template <typename Number, typename... Base>
std::optional<Number> ParseNumber(std::string_view text, Base... base)
{
    Number number{};
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, base...);
    return error == std::errc() && end == last ? std::optional<Number>(number) : std::nullopt;
}

}  // namespace Vexo
