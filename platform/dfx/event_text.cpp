#include "platform/dfx/event_text.h"

#include <array>

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
            AddText(parameters, parameter.key.c_str(), std::get<std::string>(parameter.value));
        }
    }
    const std::string text = JsonText(object.get());
    return text.empty() ? text : text + "\n";
}

}  // namespace Vexo::QuviewDFX
