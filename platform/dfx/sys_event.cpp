#include "platform/dfx/sys_event.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <locale>

#include "platform/base/unique_fd.h"
#include "platform/dfx/sink_holder.h"

namespace Vexo::QuviewDFX {

namespace {

constexpr int REFUSED = -1;       // a name that is none
constexpr int WRITE_FAILED = -2;  // the sink lost it
constexpr size_t MAX_NAME = 32;

constinit NeverDestroyed<SinkHolder<SysEventSink>> g_sink;

bool IsName(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_NAME && name[0] >= 'A' && name[0] <= 'Z' &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

std::string Rfc3339(std::chrono::system_clock::time_point time)
{
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = milliseconds / 1000;
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::string fraction = std::to_string(milliseconds % 1000);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::string(text.data(), length) + "." + fraction + "Z";
}

// JSON text is UTF-8 (RFC 8259, 8.1): what is none, and a NUL, which would end the text, becomes U+FFFD.
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

std::string JsonLine(const SysEventRecord& record)
{
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_CreateObject(), &cJSON_Delete);
    cJSON_AddStringToObject(object.get(), "time", Rfc3339(record.time).c_str());
    cJSON_AddStringToObject(object.get(), "domain", record.domain.c_str());
    cJSON_AddStringToObject(object.get(), "name", record.name.c_str());
    cJSON_AddNumberToObject(object.get(), "type", record.type);
    cJSON* parameters = cJSON_AddObjectToObject(object.get(), "params");
    for (const SysEventParameter& parameter : record.parameters) {
        if (const auto* number = std::get_if<int32_t>(&parameter.value)) {
            cJSON_AddNumberToObject(parameters, parameter.key.c_str(), *number);
        } else {
            cJSON_AddStringToObject(parameters, parameter.key.c_str(),
                                    AsUtf8(std::get<std::string>(parameter.value)).c_str());
        }
    }
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), &cJSON_free);
    return text ? std::string(text.get()) + "\n" : std::string();
}

class JsonLinesSysEventSink final : public SysEventSink {
public:
    explicit JsonLinesSysEventSink(UniqueFd file) : file_(std::move(file)) {}

    // One write a line on a file opened for appending: lines of several threads never mix.
    int32_t Write(const SysEventRecord& record) noexcept override
    {
        try {
            const std::string line = JsonLine(record);
            const ssize_t written = ::write(file_.Get(), line.data(), line.size());
            return !line.empty() && written == static_cast<ssize_t>(line.size()) ? 0 : WRITE_FAILED;
        } catch (...) {
            return WRITE_FAILED;
        }
    }

private:
    const UniqueFd file_;
};

}  // namespace

int QuSysEvent::WriteRecord(const std::string& domain, const std::string& name, EventType type,
                            std::vector<SysEventParameter> parameters)
{
    const bool keysAreNames = std::all_of(parameters.begin(), parameters.end(),
                                          [](const SysEventParameter& parameter) { return IsName(parameter.key); });
    if (!IsName(domain) || !IsName(name) || !keysAreNames) {
        return REFUSED;
    }
    const std::shared_ptr<SysEventSink> sink = g_sink.value.Get();
    return sink ? sink->Write({std::chrono::system_clock::now(), domain, name, type, std::move(parameters)}) : 0;
}

void SetSysEventSink(std::shared_ptr<SysEventSink> sink)
{
    g_sink.value.Set(std::move(sink));
}

Result<std::shared_ptr<SysEventSink>> MakeJsonLinesSysEventSink(const std::filesystem::path& file)
{
    UniqueFd opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640));
    if (!opened) {
        return Error{file.string() + ": events cannot be written: " + std::strerror(errno)};
    }
    return std::shared_ptr<SysEventSink>(std::make_shared<JsonLinesSysEventSink>(std::move(opened)));
}

}  // namespace Vexo::QuviewDFX
