// TraceRecorder: records the process's spans in memory and gives them as a text in the trace-event JSON format, which
// trace viewers open. Several recordings run at once, each bounded in time and number; what does not fit is counted.
// Between recordings it is no sink, so that tracing costs nothing. Any thread; only Stop takes long, and nobody but
// another Stop waits for it. What the text holds: docs/traces.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

inline constexpr size_t MAX_RECORDINGS = 4;
inline constexpr size_t MAX_RECORDED_SPANS = 16'384;
inline constexpr size_t MAX_RECORDED_THREADS = 1024;
inline constexpr size_t MAX_SPAN_DEPTH = 64;  // of open spans of a thread
// The longest recording. One that its client has forgotten ends then; it can be taken until its place is needed.
inline constexpr std::chrono::minutes RECORDING_LIMIT{10};

// A part of a stopped recording's text.
struct TracePiece {
    uint32_t recording = 0;
    std::string text;    // whole lines from the offset asked for
    size_t bytes = 0;    // of the whole text
    size_t spans = 0;    // recorded
    size_t dropped = 0;  // not recorded: there were too many
    std::chrono::milliseconds duration{0};
};

class TraceRecorder : public TraceSink, public std::enable_shared_from_this<TraceRecorder>, public NoCopyable {
public:
    // processName: what viewers call this process. The recorder must be owned by a shared_ptr.
    explicit TraceRecorder(std::string processName, const Clock& clock = Clock::System());

    // A new recording's number, from 1; 0 when MAX_RECORDINGS run already. It ends by itself after limit, at most
    // RECORDING_LIMIT. A detached one is meant to outlive its starter: Stop finds it without its number.
    uint32_t Start(std::chrono::milliseconds limit, bool detached) EXCLUDES(mutex_);

    // Stops the recording at the first call, and gives its text from offset on, at most maxBytes of it. The last piece
    // forgets the recording. recording 0 is the oldest detached one. Empty when there is none of that number, or
    // nothing at that offset.
    std::optional<TracePiece> Stop(uint32_t recording, size_t offset, size_t maxBytes) EXCLUDES(stopMutex_, mutex_);

    void Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept override
        EXCLUDES(mutex_);

private:
    enum class End : uint8_t { FINISHED, WITH_TASK, WITH_RECORDING };
    struct Span {
        std::string name;
        uint64_t tag = 0;
        bool isAsync = false;
        int32_t taskId = 0;  // asynchronous
        int tid = 0;
        SteadyTime begin;
        SteadyTime end;
        End how = End::FINISHED;
    };
    struct Thread {
        std::string name;
        std::vector<Span> open;  // innermost last
        size_t tooDeep = 0;      // open spans beyond MAX_SPAN_DEPTH
    };
    struct Recording {
        bool detached = false;
        SteadyTime started;
        SteadyTime ends;
        bool stopped = false;
        std::map<int, Thread> threads;  // by thread id
        std::map<std::pair<std::string, int32_t>, Span> async;
        std::vector<Span> spans;
        size_t dropped = 0;
        std::string text;  // once asked for, under stopMutex_
    };
    using RecordingPtr = std::shared_ptr<Recording>;

    static void Record(Recording& recording, TracePhase phase, Span span);
    static void Begin(Recording& recording, Span span);
    static void BeginAsync(Recording& recording, Span span);
    static void EndAsync(Recording& recording, const Span& end);
    static void EndInnermost(Recording& recording, Thread& thread, SteadyTime when, End how);
    static void Keep(Recording& recording, Span span, SteadyTime end, End how);
    static Thread* ThreadOf(Recording& recording, int tid);
    static void Finish(Recording& recording, SteadyTime when);
    static void AppendSpan(std::string& text, const Span& span);
    RecordingPtr FindAndFinish(uint32_t& recording) EXCLUDES(mutex_);
    void FinishExpired(SteadyTime now) REQUIRES(mutex_);
    void FollowRecordings() REQUIRES(mutex_);
    std::string Render(const Recording& recording) const;

    const std::string processName_;
    const Clock& clock_;
    Mutex stopMutex_;  // before mutex_
    Mutex mutex_;
    std::map<uint32_t, RecordingPtr> recordings_ GUARDED_BY(mutex_);  // once stopped a recording is Stop's alone
    uint32_t lastRecording_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::QuviewDFX
