// Sinks: objects that write log lines, system events or trace calls. The process has one sink for each of the three
// kinds. At start, distnetd sets the sinks for log lines and events. TraceRecorder is the trace sink while it records.
// Tests set their own. A sink is called on any thread, possibly on several threads at once. A sink must not block for
// long and must not log. Without a sink, log lines are written to standard error, and events and trace calls are
// discarded.
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
    // One formatted line, which is safe to show: private arguments are masked, and text arguments are escaped (log.h).
    // Valid during the call only.
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
    int32_t type;  // a value of QuSysEvent::EventType
    std::vector<SysEventParameter> parameters;
};

class SysEventSink {
public:
    virtual ~SysEventSink() = default;
    // Returns 0, or a negative code when the event is lost.
    virtual int32_t Write(const SysEventRecord& record) noexcept = 0;
};

class TraceSink {
public:
    virtual ~TraceSink() = default;
    // name: empty for END and TASK_END. taskId: 0 for synchronous spans.
    virtual void Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept = 0;
};

// Set the sink of the process. A null sink restores the default. The previous sink is destroyed when no thread uses it
// any more.
void SetLogSink(std::shared_ptr<LogSink> sink);
void SetSysEventSink(std::shared_ptr<SysEventSink> sink);
void SetTraceSink(std::shared_ptr<TraceSink> sink);

// Records below this level are dropped before they are formatted. Default: INFO.
void SetLogLevel(LogLevel level) noexcept;

// Sets how many lines each log statement of the source code may write in a second. Further lines are left out, and the
// statement's next line gives their number. So a peer or a client that causes a line with each message cannot fill the
// disk. 0: no limit, which is the default.
void SetLogLineLimit(uint32_t linesPerSecond) noexcept;

// Makes a sink that writes each line to standard error with one write(2). A line looks like
// "2026-11-21T12:08:06.123+01:00 I Tag: message". The time is local time (RFC 3339).
std::shared_ptr<LogSink> MakeStderrLogSink();

// Makes a sink that passes each event to all given sinks, in order. Its Write returns the first result that is not 0.
// Sinks for events: event_file.h, journal.h.
std::shared_ptr<SysEventSink> MakeTeeSysEventSink(std::vector<std::shared_ptr<SysEventSink>> sinks);

}  // namespace Vexo::QuviewDFX
