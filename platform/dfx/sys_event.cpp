#include "platform/dfx/sys_event.h"

#include <algorithm>

#include "platform/base/clock.h"
#include "platform/base/never_destroyed.h"
#include "platform/dfx/sink_holder.h"

namespace Vexo::QuviewDFX {

namespace {

constexpr int REFUSED = -1;  // an invalid domain, name or key
constexpr size_t MAX_NAME = 32;

constinit NeverDestroyed<SinkHolder<SysEventSink>> g_sink;

bool IsName(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_NAME && name[0] >= 'A' && name[0] <= 'Z' &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

class TeeSysEventSink final : public SysEventSink {
public:
    explicit TeeSysEventSink(std::vector<std::shared_ptr<SysEventSink>> sinks) : sinks_(std::move(sinks)) {}

    int32_t Write(const SysEventRecord& record) noexcept override
    {
        int32_t result = 0;
        for (const std::shared_ptr<SysEventSink>& sink : sinks_) {
            const int32_t written = sink->Write(record);
            result = result == 0 ? written : result;
        }
        return result;
    }

private:
    const std::vector<std::shared_ptr<SysEventSink>> sinks_;
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
    return sink ? sink->Write({Clock::System().WallNow(), domain, name, type, std::move(parameters)}) : 0;
}

void SetSysEventSink(std::shared_ptr<SysEventSink> sink)
{
    g_sink.value.Set(std::move(sink));
}

std::shared_ptr<SysEventSink> MakeTeeSysEventSink(std::vector<std::shared_ptr<SysEventSink>> sinks)
{
    return std::make_shared<TeeSysEventSink>(std::move(sinks));
}

}  // namespace Vexo::QuviewDFX
