#include "platform/dfx/trace.h"

#include "platform/dfx/sink_holder.h"
#include "platform/dfx/sinks.h"

namespace Vexo {

namespace {

using QuviewDFX::TracePhase;

constinit QuviewDFX::NeverDestroyed<QuviewDFX::SinkHolder<QuviewDFX::TraceSink>> g_sink;

void WriteTrace(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId)
{
    if (!g_sink.value.IsSet()) {
        return;
    }
    if (const auto sink = g_sink.value.Get()) {
        sink->Write(phase, tag, name, taskId);
    }
}

}  // namespace

void StartTrace(uint64_t tag, const std::string& value)
{
    WriteTrace(TracePhase::BEGIN, tag, value, 0);
}

void FinishTrace(uint64_t tag)
{
    WriteTrace(TracePhase::END, tag, {}, 0);
}

void StartAsyncTrace(uint64_t tag, const std::string& value, int32_t taskId)
{
    WriteTrace(TracePhase::ASYNC_BEGIN, tag, value, taskId);
}

void FinishAsyncTrace(uint64_t tag, const std::string& value, int32_t taskId)
{
    WriteTrace(TracePhase::ASYNC_END, tag, value, taskId);
}

namespace QuviewDFX {

void SetTraceSink(std::shared_ptr<TraceSink> sink)
{
    g_sink.value.Set(std::move(sink));
}

}  // namespace QuviewDFX

}  // namespace Vexo
