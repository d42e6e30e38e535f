// Where records go: log lines, system events and trace calls each have one process-wide sink, replaced as a whole.
// Setters are for the host at start and for tests; a sink is called from any thread, possibly several at once, and must
// neither block for long nor log. Without a sink: log lines go to standard error, events and traces nowhere.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"

namespace Vexo::QuviewDFX {

struct LogRecord {
    LogLevel level;
    LogLabel label;
    // Formatted, private arguments masked, hidden characters and bytes that are no UTF-8 escaped: one line that is safe
    // to show. Valid during the call.
    std::string_view message;
};

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void Write(const LogRecord& record) noexcept = 0;
};

struct SysEventParameter {
    std::string key;
    std::variant<int32_t, std::string> value;
};

struct SysEventRecord {
    std::chrono::system_clock::time_point time;
    std::string domain;
    std::string name;
    int32_t type;  // QuSysEvent::EventType
    std::vector<SysEventParameter> parameters;
};

class SysEventSink {
public:
    virtual ~SysEventSink() = default;
    // 0, or a negative code: the event is lost.
    virtual int32_t Write(const SysEventRecord& record) noexcept = 0;
};

class TraceSink {
public:
    virtual ~TraceSink() = default;
    // name is empty for END and TASK_END; taskId is 0 for those of a thread.
    virtual void Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept = 0;
};

// A null sink restores the default. The previous sink is released once no thread is in it.
void SetLogSink(std::shared_ptr<LogSink> sink);
void SetSysEventSink(std::shared_ptr<SysEventSink> sink);
void SetTraceSink(std::shared_ptr<TraceSink> sink);

// Records below this level are dropped before they are formatted. INFO at start.
void SetLogLevel(LogLevel level) noexcept;

// Readable lines: "2026-11-21T12:08:06.123+01:00 I Tag: message", local time (RFC 3339), one write(2) a line.
std::shared_ptr<LogSink> MakeStderrLogSink();

// Hands each event to all of them, in order; answers the first code that is not 0. A file: event_file.h; the journal:
// journal.h.
std::shared_ptr<SysEventSink> MakeTeeSysEventSink(std::vector<std::shared_ptr<SysEventSink>> sinks);

}  // namespace Vexo::QuviewDFX
