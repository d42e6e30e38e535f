#include "platform/dfx/trace.h"

#include "platform/base/never_destroyed.h"
#include "platform/dfx/sink_holder.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

namespace {

constinit NeverDestroyed<SinkHolder<TraceSink>> g_sink;

}  // namespace

constinit std::atomic<bool> g_isTracing{false};

void WriteTrace(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept
{
    if (const auto sink = g_sink.value.Get()) {
        sink->Write(phase, tag, name, taskId);
    }
}

void SetTraceSink(std::shared_ptr<TraceSink> sink)
{
    const bool tracing = sink != nullptr;
    g_sink.value.Set(std::move(sink));
    g_isTracing.store(tracing, std::memory_order_relaxed);
}

}  // namespace Vexo::QuviewDFX
