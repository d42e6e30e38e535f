#include "platform/dfx/event_text.h"

#include <array>
#include <cwchar>
#include <locale>

#include "platform/base/json.h"

namespace Vexo::QuviewDFX {

std::string Rfc3339Seconds(std::time_t seconds)
{
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::string Rfc3339(std::chrono::system_clock::time_point time)
{
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    std::string text = Rfc3339Seconds(milliseconds / 1000);
    std::string fraction = std::to_string(milliseconds % 1000);
    fraction.insert(0, 3 - fraction.size(), '0');
    return text.insert(text.size() - 1, "." + fraction);
}

std::string AsUtf8(std::string text)
{
    using Utf8 = std::codecvt<char32_t, char8_t, std::mbstate_t>;
    for (size_t at = 0; at < text.size(); ++at) {
        // The library takes encoded surrogates, which RFC 3629 excludes, for characters.
        const bool surrogate = text[at] == '\xED' && at + 1 < text.size() && (text[at + 1] & 0x20) != 0;
        if (text[at] == '\0' || surrogate) {
            text[at] = '\xFF';
        }
    }
    std::string result;
    std::string_view rest = text;
    while (!rest.empty()) {
        std::mbstate_t state{};
        const auto* begin = reinterpret_cast<const char8_t*>(rest.data());
        const int valid =
            std::use_facet<Utf8>(std::locale::classic()).length(state, begin, begin + rest.size(), rest.size());
        result += rest.substr(0, static_cast<size_t>(valid));
        rest.remove_prefix(static_cast<size_t>(valid));
        if (!rest.empty()) {
            result += "\xEF\xBF\xBD";
            rest.remove_prefix(1);
        }
    }
    return result;
}

std::string EventLine(const SysEventRecord& record)
{
    const Json object = NewObject();
    AddText(object.get(), "time", Rfc3339(record.time));
    AddText(object.get(), "domain", record.domain);
    AddText(object.get(), "name", record.name);
    cJSON_AddNumberToObject(object.get(), "type", record.type);
    cJSON* parameters = cJSON_AddObjectToObject(object.get(), "params");
    for (const SysEventParameter& parameter : record.parameters) {
        if (const auto* number = std::get_if<int32_t>(&parameter.value)) {
            cJSON_AddNumberToObject(parameters, parameter.key.c_str(), *number);
        } else {
            AddText(parameters, parameter.key.c_str(), AsUtf8(std::get<std::string>(parameter.value)));
        }
    }
    const std::string text = JsonText(object.get());
    return text.empty() ? text : text + "\n";
}

}  // namespace Vexo::QuviewDFX
