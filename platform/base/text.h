// Text for people: what they probably meant. No state; any thread; nothing blocks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Vexo {

// The candidate that word most likely is a slip of: at most two letters, or a third of the word's if that is more (one
// in a word of one or two), are missing, added, different or swapped with their neighbour (the optimal string alignment
// distance). Empty when none is that close; of equally close ones the first. Compares bytes; case is a difference.
std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace Vexo
