// Tests that distnetctl shows the same QR code in every style, with the light border that a camera needs.
#include "tools/distnetctl/qr_picture.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/text.h"

namespace Vexo::Ctl {
namespace {

constexpr const char* TICKET = "K7QF-2M9X-TD4H-8WNC-R5VA-3PJE-6ZB";
constexpr size_t QUIET = 4;

// Returns the rows of modules (squares) of a QR code. A dark module is '#', and a light module is ' '. A picture
// without colours is read as on a dark terminal.
std::vector<std::string> ModulesOf(const std::vector<std::string>& lines, QrStyle style)
{
    std::vector<std::string> rows;
    for (std::string line : lines) {
        if (style.colour) {  // There is an escape sequence before the modules and another one after them.
            line = line.substr(line.find('m') + 1);
            line.resize(line.rfind('\033'));
        }
        std::string upper;
        std::string lower;
        for (size_t at = 0; at < line.size();) {
            const std::string cell = line.substr(at, !style.utf8 ? 2 : line[at] == ' ' ? 1 : 3);
            at += cell.size();
            const bool isUpper = cell == "█" || cell == "▀" || cell == "##";
            const bool isLower = cell == "█" || cell == "▄";
            upper += isUpper == style.colour ? '#' : ' ';
            lower += isLower == style.colour ? '#' : ' ';
        }
        rows.push_back(upper);
        if (style.utf8) {
            rows.push_back(lower);
        }
    }
    return rows;
}

TEST(QrPictureTest, EveryStyleShowsSameCodeInsideLightBorder)
{
    const std::vector<std::string> code = ModulesOf(QrPicture(TICKET, {false, false}, 80), {false, false});
    ASSERT_GT(code.size(), 2 * QUIET + 20);
    for (const QrStyle style : {QrStyle{true, true}, QrStyle{true, false}, QrStyle{false, true}}) {
        const auto rows = ModulesOf(QrPicture(TICKET, style, 80), style);
        ASSERT_GE(rows.size(), code.size());
        EXPECT_TRUE(std::equal(code.begin(), code.end(), rows.begin())) << style.utf8 << style.colour;
    }
    const std::string finder = "####### ";  // a corner of the code and the light module next to it
    const size_t size = code.size();
    EXPECT_EQ(code[QUIET].substr(QUIET, finder.size()), finder);
    EXPECT_EQ(code[size - QUIET - 1].substr(QUIET, finder.size()), finder);
    for (size_t row = 0; row < size; ++row) {
        ASSERT_EQ(code[row].size(), size);
        const bool isOutside = row < QUIET || row >= size - QUIET;
        EXPECT_EQ(code[row].substr(0, QUIET) + code[row].substr(size - QUIET), std::string(2 * QUIET, ' '));
        EXPECT_EQ(code[row] == std::string(size, ' '), isOutside) << row;
    }
}

TEST(QrPictureTest, PictureIsOmittedInNarrowTerminal)
{
    const auto picture = QrPicture(TICKET, {true, false}, 80);
    ASSERT_FALSE(picture.empty());
    const size_t width = TextWidth(picture.front());
    EXPECT_FALSE(QrPicture(TICKET, {true, false}, width).empty());
    EXPECT_TRUE(QrPicture(TICKET, {true, false}, width - 1).empty());
    EXPECT_TRUE(QrPicture(TICKET, {false, false}, 2 * width - 1).empty());
}

}  // namespace
}  // namespace Vexo::Ctl
