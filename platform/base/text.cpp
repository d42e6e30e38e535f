#include "platform/base/text.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "platform/base/utf8.h"

namespace Vexo {
namespace {

// Returns the optimal string alignment distance of two words. Keeps only three rows of the table, because a swap of two
// neighbouring letters needs the row before the previous row.
size_t AlignmentDistance(std::string_view left, std::string_view right)
{
    std::vector<size_t> beforePrevious(right.size() + 1);
    std::vector<size_t> previous(right.size() + 1);
    std::vector<size_t> current(right.size() + 1);
    for (size_t column = 0; column <= right.size(); ++column) {
        previous[column] = column;
    }
    for (size_t row = 1; row <= left.size(); ++row) {
        current[0] = row;
        for (size_t column = 1; column <= right.size(); ++column) {
            const size_t replaced = previous[column - 1] + (left[row - 1] == right[column - 1] ? 0 : 1);
            current[column] = std::min({replaced, previous[column] + 1, current[column - 1] + 1});
            if (row > 1 && column > 1 && left[row - 1] == right[column - 2] && left[row - 2] == right[column - 1]) {
                current[column] = std::min(current[column], beforePrevious[column - 2] + 1);
            }
        }
        beforePrevious.swap(previous);
        previous.swap(current);
    }
    return previous[right.size()];
}

}  // namespace

std::string ClosestOf(std::string_view word, const std::vector<std::string>& candidates)
{
    const size_t limit = word.size() < 3 ? 1 : std::max<size_t>(2, word.size() / 3);
    size_t best = limit + 1;
    std::string closest;
    for (const std::string& candidate : candidates) {
        const size_t lengthGap = std::max(candidate.size(), word.size()) - std::min(candidate.size(), word.size());
        if (lengthGap >= best) {
            continue;
        }
        const size_t distance = AlignmentDistance(word, candidate);
        if (distance < best) {
            best = distance;
            closest = candidate;
        }
    }
    return closest;
}

std::string ShortId(std::string_view id)
{
    constexpr size_t SHOWN = 5;  // characters shown at each end
    if (id.size() <= 2 * SHOWN + 1) {
        return std::string(id);
    }
    return std::string(id.substr(0, SHOWN)) + "…" + std::string(id.substr(id.size() - SHOWN));
}

bool FitsShortId(std::string_view word, std::string_view id)
{
    for (const std::string_view gap : {"…", "..."}) {
        const size_t at = word.find(gap);
        if (at == std::string_view::npos) {
            continue;
        }
        const std::string_view first = word.substr(0, at);
        const std::string_view last = word.substr(at + gap.size());
        return !first.empty() && !last.empty() && first.size() + last.size() <= id.size() && id.starts_with(first) &&
               id.ends_with(last);
    }
    return false;
}

size_t TextWidth(std::string_view text)
{
    return CodePointCount(text);
}

std::vector<std::string> Wrap(const std::string& text, size_t width)
{
    std::vector<std::string> pieces;
    std::istringstream words(text);
    std::string word;
    while (words >> word) {
        if (pieces.empty() || TextWidth(pieces.back()) + 1 + TextWidth(word) > width) {
            pieces.push_back(word);
        } else {
            pieces.back() += " " + word;
        }
    }
    return pieces;
}

std::string RoughDuration(std::chrono::seconds time)
{
    using namespace std::chrono;
    for (const auto& [unit, name] :
         {std::pair<seconds, const char*>{days(1), " d"}, {hours(1), " h"}, {minutes(1), " min"}}) {
        if (time >= unit) {
            return std::to_string(time / unit) + name;
        }
    }
    return std::to_string(time.count()) + " s";
}

}  // namespace Vexo
