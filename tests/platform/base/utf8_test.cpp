#include "platform/base/utf8.h"

#include <gtest/gtest.h>

#include "platform/base/json.h"
#include "platform/base/text.h"

namespace Vexo {
namespace {

using namespace std::string_view_literals;

// A row of a table: the input bytes and the expected results of IsUtf8(), EscapeInvalid() and EscapeHidden().
struct Case {
    const char* what;
    std::string_view bytes;
    bool isUtf8;
    std::string_view invalidEscaped;
    std::string_view hiddenEscaped;
};

constexpr Case CASES[] = {
    {"plain", "phone"sv, true, "phone", "phone"},
    {"two, three and four bytes", "\u00E9\u20AC\U0001F600"sv, true, "\u00E9\u20AC\U0001F600", "\u00E9\u20AC\U0001F600"},
    {"a joined emoji keeps its joiner", "\u200D"sv, true, "\u200D", "\u200D"},
    {"NUL", "a\0b"sv, true, "a\\x00b", "a\\x00b"},
    {"C0 and DEL", "\x1B[2J\n\x7F"sv, true, "\x1B[2J\n\x7F", "\\x1b[2J\\x0a\\x7f"},
    {"C1", "\u009B2J"sv, true, "\u009B2J", "\\xc2\\x9b2J"},
    {"override of direction", "\u202Eevil"sv, true, "\u202Eevil", "\\xe2\\x80\\xaeevil"},
    {"isolate and Arabic mark", "\u2066\u061C"sv, true, "\u2066\u061C", "\\xe2\\x81\\xa6\\xd8\\x9c"},
    {"line separator", "\u2028"sv, true, "\u2028", "\\xe2\\x80\\xa8"},
    {"a trail alone", "a\x80z"sv, false, "a\\x80z", "a\\x80z"},
    {"no byte of UTF-8", "\xFF\xFE"sv, false, "\\xff\\xfe", "\\xff\\xfe"},
    {"an overlong slash", "\xC0\xAF"sv, false, "\\xc0\\xaf", "\\xc0\\xaf"},
    {"a surrogate", "\xED\xA0\x80"sv, false, "\\xed\\xa0\\x80", "\\xed\\xa0\\x80"},
    {"beyond the last code point", "\xF4\x90\x80\x80"sv, false, "\\xf4\\x90\\x80\\x80", "\\xf4\\x90\\x80\\x80"},
    {"cut within a character", "a\xE2\x82"sv, false, "a\\xe2\\x82", "a\\xe2\\x82"},
    {"invalid, then good", "\xE2\x28\u00E9"sv, false, "\\xe2(\u00E9", "\\xe2(\u00E9"},
};

TEST(Utf8Test, EscapesInvalidUtf8AndInvisibleCharacters)
{
    for (const Case& c : CASES) {
        EXPECT_EQ(IsUtf8(c.bytes), c.isUtf8) << c.what;
        EXPECT_EQ(EscapeInvalid(c.bytes), c.invalidEscaped) << c.what;
        EXPECT_EQ(EscapeHidden(c.bytes), c.hiddenEscaped) << c.what;
        EXPECT_EQ(EscapeBytes(c.bytes), c.hiddenEscaped) << c.what;
        EXPECT_EQ(UnescapeBytes(c.hiddenEscaped).value(), c.bytes) << c.what;
        EXPECT_EQ(UnescapeBytes(c.bytes).value(), c.bytes) << c.what;
        EXPECT_EQ(EscapeHidden(EscapeHidden(c.bytes)), c.hiddenEscaped) << c.what;
    }
}

TEST(Utf8Test, EscapedBytesAreUnambiguousAndReversible)
{
    for (const auto& [bytes, escaped] : {std::pair{"\xFF", R"(\xff)"}, {R"(\xff)", R"(\\xff)"}, {R"(\)", R"(\\)"}}) {
        EXPECT_EQ(EscapeBytes(bytes), escaped);
        EXPECT_EQ(UnescapeBytes(escaped).value(), bytes);
    }
    EXPECT_EQ(UnescapeBytes(R"(\xfF)").value(), "\xFF");
    for (const char* const damaged : {R"(caf\)", R"(caf\x)", R"(caf\x0)", R"(caf\x0g)", R"(caf\x-1)", R"(caf\n00)"}) {
        EXPECT_EQ(UnescapeBytes(damaged).error().message, R"(the backslash at byte 4 begins neither \\ nor \xNN)")
            << damaged;
    }
}

TEST(Utf8Test, JsonTextIsUtf8AndParsesToSameCharacters)
{
    // cJSON does not check for UTF-8, so a JSON tree may contain invalid UTF-8.
    for (const Case& c : CASES) {
        const std::string text =
            c.invalidEscaped == c.bytes || c.what == "NUL"sv ? EscapeInvalid(c.bytes) : std::string(c.bytes);
        const Json tree(cJSON_CreateString(text.c_str()));
        const std::string json = JsonText(tree.get());
        EXPECT_TRUE(IsUtf8(json)) << c.what;
        EXPECT_EQ(EscapeHidden(json), json) << c.what;
        EXPECT_STREQ(cJSON_GetStringValue(ParseJson(json).get()), std::string(c.invalidEscaped).c_str()) << c.what;
    }
    const Json object = NewObject();
    AddText(object.get(), "name", std::string("a\0b\xFF"sv));
    EXPECT_EQ(JsonText(object.get()), R"({"name":"a\\x00b\\xff"})");
}

TEST(Utf8Test, TextIsCutBetweenCharacters)
{
    EXPECT_EQ(TextWidth("\u00E9\u20AC\U0001F600a"), 4u);
    EXPECT_EQ(TextWidth("\xFF\xE2\x82"), 3u);
    EXPECT_EQ(FirstCodePoints("\u00E9\u20ACa", 2), "\u00E9\u20AC");
    EXPECT_EQ(FirstCodePoints("ab", 3), "ab");
    for (const auto& [bytes, cut] :
         {std::pair{0, ""}, {1, ""}, {2, "\u00E9"}, {4, "\u00E9"}, {5, "\u00E9\u20AC"}, {9, "\u00E9\u20ACa"}}) {
        EXPECT_EQ(CutToBytes("\u00E9\u20ACa", static_cast<size_t>(bytes)), cut);
    }
}

}  // namespace
}  // namespace Vexo
