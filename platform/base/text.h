// Text that people type or read: corrections of misspelt words, short ids, line wrapping, rough durations. Functions
// without state; any thread. No call blocks.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo {

// The candidate closest to word by optimal string alignment distance, where a missing, added, different or swapped
// letter counts as 1; the first of several that are equally close. Empty when every distance is above the limit: 1 for
// a word of one or two bytes, 2 for a word of up to eight, else a third of its length. Compares bytes and is
// case-sensitive.
std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates);

// The short form of a network id or device id, for people: "3f91c…d6384". Text of at most 11 bytes is returned whole.
std::string ShortId(std::string_view id);
// Whether word is a short form of id: one or more of its first characters, then "…" or "...", then one or more of its
// last characters.
bool FitsShortId(std::string_view word, std::string_view id);

// How many columns text takes on a terminal: one for each code point (platform/base/utf8.h).
size_t TextWidth(std::string_view text);

// Text broken into lines at spaces. No line is wider than width, except for a single word that is.
std::vector<std::string> Wrap(const std::string& text, size_t width);

// "41 s", "5 min", "2 h", "3 d": rounded down to the largest unit.
std::string RoughDuration(std::chrono::seconds time);

}  // namespace Vexo
