#include "platform/dfx/trace.h"

#include "platform/dfx/sink_holder.h"
#include "platform/dfx/sinks.h"

namespace Vexo {

namespace {

using QuviewDFX::TracePhase;

// Never destroyed: threads trace until the process is gone.
QuviewDFX::SinkHolder<QuviewDFX::TraceSink>& Holder()
{
    static auto* const holder =
        new QuviewDFX::SinkHolder<QuviewDFX::TraceSink>;  // NOLINT(cppcoreguidelines-owning-memory)
    return *holder;
}

void WriteTrace(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId)
{
    if (!Holder().IsSet()) {
        return;
    }
    if (const auto sink = Holder().Get()) {
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
    Holder().Set(std::move(sink));
}

}  // namespace QuviewDFX

}  // namespace Vexo
