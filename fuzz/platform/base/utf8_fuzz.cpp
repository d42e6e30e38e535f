// Fuzzes the functions that escape text from other devices and programs before it is shown.
#include "platform/base/utf8.h"

#include "fuzz/fuzz_target.h"
#include "platform/base/json.h"

namespace Vexo {
namespace {

std::vector<std::string> Samples()
{
    return {"phone \u00E9 \u20AC \U0001F600", "\u202Eevil\u009B2J\x1B[2J back\\slash"};
}

bool Run(std::string_view input)
{
    const std::string hidden = EscapeHidden(input);
    Fuzz::Require(IsUtf8(hidden) && hidden.find_first_of("\x1B\n\x7F") == std::string::npos, "what is shown is safe");
    Fuzz::Require(EscapeHidden(hidden) == hidden, "escaping twice changes nothing");
    Fuzz::Require(UnescapeBytes(EscapeBytes(input)).value() == input, "every byte comes back");
    const std::string text = EscapeInvalid(input);
    Fuzz::Require(IsUtf8(text) && (text == input) == (IsUtf8(input) && input.find('\0') == std::string_view::npos),
                  "only what is no UTF-8 is escaped");
    const Json tree(cJSON_CreateString(text.c_str()));
    const Json again = ParseJson(JsonText(tree.get()));
    Fuzz::Require(again && text == cJSON_GetStringValue(again.get()), "a JSON text reads back as it was");
    Fuzz::Require(FirstCodePoints(input, CodePointCount(input)) == input, "code points make up the text");
    Fuzz::Require(!IsUtf8(input) || IsUtf8(CutToBytes(input, input.size() / 2)), "a cut leaves whole characters");
    return IsUtf8(input);
}

const Fuzz::Registration REGISTRATION({"utf8", Samples, Run});

}  // namespace
}  // namespace Vexo
