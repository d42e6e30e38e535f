// Text for people: what they probably meant, and lines that fit their screen. No state; any thread; nothing blocks.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo {

// The candidate that word most likely is a slip of: at most two letters, or a third of the word's if that is more (one
// in a word of one or two), are missing, added, different or swapped with their neighbour (the optimal string alignment
// distance). Empty when none is that close; of equally close ones the first. Compares bytes; case is a difference.
std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates);

// The short form of a network id or device id, for people: "3f91c…d6384". Shorter text as it is.
std::string ShortId(std::string_view id);
// Whether word is a short form that the id fits: its first and its last characters around "…" or "...", some of each.
bool FitsShortId(std::string_view word, std::string_view id);

// The columns that text takes: its code points (platform/base/utf8.h).
size_t TextWidth(std::string_view text);

// Text broken at spaces so that no piece is wider than width, where its words allow that.
std::vector<std::string> Wrap(const std::string& text, size_t width);

// "41 s", "5 min", "2 h", "3 d": rounded down to the largest unit.
std::string RoughDuration(std::chrono::seconds time);

}  // namespace Vexo
