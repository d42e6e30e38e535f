// Text that people type or read: corrections of misspelt words, short ids, line wrapping, rounded durations. The
// functions are thread-safe and do not block.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo {

// Returns the candidate that is closest to the given word, or an empty string when no candidate is close enough. The
// distance is the optimal string alignment distance: a missing, added, different or swapped letter counts as 1. The
// largest allowed distance is 1 for a word of one or two bytes, 2 for a word of up to eight bytes, else a third of the
// word's length. If several candidates are equally close, the first one wins. The comparison works on bytes and is
// case-sensitive.
std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates);

// Returns the short form of a network id or device id for people, such as "3f91c…d6384". Returns text of at most 11
// bytes unchanged.
std::string ShortId(std::string_view id);
// Returns true if the given word is a short form of the id: one or more of the id's first characters, then "…" or
// "...", then one or more of the id's last characters.
bool FitsShortId(std::string_view word, std::string_view id);

// Returns how many terminal columns the text needs: one for each code point (platform/base/utf8.h).
size_t TextWidth(std::string_view text);

// Breaks the text into lines at spaces. A line needs at most width columns. Only a line that consists of one long word
// may need more.
std::vector<std::string> Wrap(const std::string& text, size_t width);

// Returns the duration in its largest unit, rounded down, such as "41 s", "5 min", "2 h" or "3 d".
std::string RoughDuration(std::chrono::seconds time);

}  // namespace Vexo
