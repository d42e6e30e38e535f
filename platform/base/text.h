// Text that people type or read: corrections of misspelt words, short ids, line wrapping, rough durations. Functions
// without state; any thread. No call blocks.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo {

// Returns the candidate that is closest to word, or an empty string when none is close enough. The distance is the
// optimal string alignment distance: a missing, added, different or swapped letter counts as 1. The limit is 1 for a
// word of one or two bytes, 2 for a word of up to eight, else a third of its length. The first of several equally close
// candidates wins. Compares bytes and is case-sensitive.
std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates);

// Returns the short form of a network id or device id, for people: "3f91c…d6384". Text of at most 11 bytes is returned
// whole.
std::string ShortId(std::string_view id);
// Whether word is a short form of id: one or more of its first characters, then "…" or "...", then one or more of its
// last characters.
bool FitsShortId(std::string_view word, std::string_view id);

// Returns how many terminal columns text needs: one for each code point (platform/base/utf8.h).
size_t TextWidth(std::string_view text);

// Breaks text into lines at spaces. A line is wider than width, in columns, only when it is a single longer word.
std::vector<std::string> Wrap(const std::string& text, size_t width);

// Returns the duration in its largest unit, rounded down: "41 s", "5 min", "2 h", "3 d".
std::string RoughDuration(std::chrono::seconds time);

}  // namespace Vexo
