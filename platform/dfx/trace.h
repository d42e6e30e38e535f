// The trace functions: mark spans of work (named periods of time), which a trace viewer displays. A synchronous span
// lies inside the other open spans of its thread. The start and the end of an asynchronous span have the same name and
// task id. Thread-safe. While nothing is recorded (trace_recorder.h), a call costs one relaxed load. The name of a span
// says what is done and contains no id and no secret.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace Vexo {

// The tag of the platform's spans. The spans of the service have another tag.
inline constexpr uint64_t TRACE_TAG_PLATFORM = 0x1;

namespace QuviewDFX {

enum class TracePhase : uint8_t { BEGIN, END, ASYNC_BEGIN, ASYNC_END, TASK_END };

// True while a trace sink is set (SetTraceSink in sinks.h). Read this variable with IsTracing.
extern std::atomic<bool> g_isTracing;

inline bool IsTracing() noexcept
{
    return g_isTracing.load(std::memory_order_relaxed);
}

// Passes one trace call to the trace sink, if a trace sink is set.
void WriteTrace(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept;

// Ends the synchronous spans that a task has left open on this thread. Code that runs several tasks on one thread calls
// EndTaskSpans after each task.
inline void EndTaskSpans() noexcept
{
    if (IsTracing()) {
        WriteTrace(TracePhase::TASK_END, TRACE_TAG_PLATFORM, {}, 0);
    }
}

}  // namespace QuviewDFX

inline void StartTrace(uint64_t tag, std::string_view value)
{
    if (QuviewDFX::IsTracing()) {
        QuviewDFX::WriteTrace(QuviewDFX::TracePhase::BEGIN, tag, value, 0);
    }
}

// Ends the innermost synchronous span of this thread.
inline void FinishTrace(uint64_t tag)
{
    if (QuviewDFX::IsTracing()) {
        QuviewDFX::WriteTrace(QuviewDFX::TracePhase::END, tag, {}, 0);
    }
}

inline void StartAsyncTrace(uint64_t tag, std::string_view value, int32_t taskId)
{
    if (QuviewDFX::IsTracing()) {
        QuviewDFX::WriteTrace(QuviewDFX::TracePhase::ASYNC_BEGIN, tag, value, taskId);
    }
}

// Ends the asynchronous span with this name and task id. Does nothing if no such span was started.
inline void FinishAsyncTrace(uint64_t tag, std::string_view value, int32_t taskId)
{
    if (QuviewDFX::IsTracing()) {
        QuviewDFX::WriteTrace(QuviewDFX::TracePhase::ASYNC_END, tag, value, taskId);
    }
}

// A synchronous span of the platform. The span lasts as long as the object exists.
class TraceSpan {
public:
    explicit TraceSpan(std::string_view name) noexcept : begun_(QuviewDFX::IsTracing())
    {
        if (begun_) {
            QuviewDFX::WriteTrace(QuviewDFX::TracePhase::BEGIN, TRACE_TAG_PLATFORM, name, 0);
        }
    }
    ~TraceSpan()
    {
        if (begun_) {
            QuviewDFX::WriteTrace(QuviewDFX::TracePhase::END, TRACE_TAG_PLATFORM, {}, 0);
        }
    }
    TraceSpan(const TraceSpan&) = delete;
    TraceSpan& operator=(const TraceSpan&) = delete;

private:
    const bool begun_;
};

// The names of the platform's spans in a trace (docs/traces.md).
namespace SpanName {
inline constexpr std::string_view COLLABORATION = "collaboration start";  // until the peer has answered
inline constexpr std::string_view SESSION_OPEN = "session open";  // until the opened callback; task id: session id
inline constexpr std::string_view SEEK = "seek";                  // until a device in radio range is found
inline constexpr std::string_view CONNECT = "connect";  // one address, until it is connected or the attempt fails
inline constexpr std::string_view HANDSHAKE = "TLS handshake";      // task id: the socket's number
inline constexpr std::string_view SEND = "send";                    // the call only, not the transfer
inline constexpr std::string_view ANSWER = "answer";                // from send to received bytes; task id: session id
inline constexpr std::string_view HOTSPOT_STATE = "hotspot state";  // this name and the names below: calls of the radio
inline constexpr std::string_view HOTSPOT_ENABLE = "hotspot enable";
inline constexpr std::string_view HOTSPOT_DISABLE = "hotspot disable";
inline constexpr std::string_view HOTSPOT_CONFIG = "hotspot configuration";
inline constexpr std::string_view WIFI_CONFIGS = "Wi-Fi configurations";
inline constexpr std::string_view WIFI_ADD = "Wi-Fi add configuration";
inline constexpr std::string_view WIFI_CONNECT = "Wi-Fi connect";  // until the attempt is accepted
}  // namespace SpanName

}  // namespace Vexo
