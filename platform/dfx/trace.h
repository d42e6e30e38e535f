// The trace meter: spans of work for a trace viewer. Synchronous spans nest per thread; asynchronous ones pair by name
// and task id. Any thread; while nobody records (trace_recorder.h) each call costs one relaxed load. Names say what is
// done, never with whom: no id, no secret.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace Vexo {

// The platform's own spans; the service has its own tag.
inline constexpr uint64_t TRACE_TAG_PLATFORM = 0x1;

namespace QuviewDFX {

enum class TracePhase : uint8_t { BEGIN, END, ASYNC_BEGIN, ASYNC_END, TASK_END };

// Follows SetTraceSink (sinks.h); read it through IsTracing.
extern std::atomic<bool> g_isTracing;

inline bool IsTracing() noexcept
{
    return g_isTracing.load(std::memory_order_relaxed);
}

// Hands one call to the sink, if there is one.
void WriteTrace(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept;

// A task has ended: the synchronous spans that are still open on this thread are its own, and end with it. Called by
// whatever runs tasks, one after the other, on a thread.
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

// Ends the innermost span of this thread.
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

// Nothing when that span has not been started.
inline void FinishAsyncTrace(uint64_t tag, std::string_view value, int32_t taskId)
{
    if (QuviewDFX::IsTracing()) {
        QuviewDFX::WriteTrace(QuviewDFX::TracePhase::ASYNC_END, tag, value, taskId);
    }
}

// A synchronous span of the platform that lasts as long as the object.
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

// The spans of the platform, by the names that they have in a trace (docs/traces.md).
namespace SpanName {
inline constexpr std::string_view COLLABORATION = "collaboration start";  // until the peer has answered
inline constexpr std::string_view SESSION_OPEN = "session open";          // until the opened callback; by session id
inline constexpr std::string_view SEEK = "seek";        // until a device is heard that is tried, or the dial ends
inline constexpr std::string_view CONNECT = "connect";  // one address, until it is connected or is given up
inline constexpr std::string_view HANDSHAKE = "TLS handshake";      // by the socket's number
inline constexpr std::string_view SEND = "send";                    // handing bytes over, not their way
inline constexpr std::string_view ANSWER = "answer";                // from send to received bytes; by session id
inline constexpr std::string_view HOTSPOT_STATE = "hotspot state";  // and what follows: calls of the radio
inline constexpr std::string_view HOTSPOT_ENABLE = "hotspot enable";
inline constexpr std::string_view HOTSPOT_DISABLE = "hotspot disable";
inline constexpr std::string_view HOTSPOT_CONFIG = "hotspot configuration";
inline constexpr std::string_view WIFI_CONFIGS = "Wi-Fi configurations";
inline constexpr std::string_view WIFI_ADD = "Wi-Fi add configuration";
inline constexpr std::string_view WIFI_CONNECT = "Wi-Fi connect";  // until accepted, not joined
}  // namespace SpanName

}  // namespace Vexo
