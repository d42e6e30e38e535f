// TraceRecorder: records the process's spans in memory and returns them as text in the trace-event JSON format, which
// trace viewers open. Several recordings can run at once. Each recording is limited in time and in number of spans;
// further spans are only counted. The recorder is the trace sink only while a recording runs, so that tracing costs
// nothing at other times. Thread-safe. Only Stop takes long, and only another call of Stop waits for it. Content of the
// text: docs/traces.md.
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
inline constexpr size_t MAX_SPAN_DEPTH = 64;  // the most open spans of one thread
// The longest time of a recording. A recording that its client never stops ends after this time. The text of the ended
// recording can be fetched until Start deletes the recording to keep at most MAX_RECORDINGS.
inline constexpr std::chrono::minutes RECORDING_LIMIT{10};

// A part of the text of a stopped recording.
struct TracePiece {
    uint32_t recording = 0;
    std::string text;    // whole lines, from the requested offset on
    size_t bytes = 0;    // size of the whole text
    size_t spans = 0;    // number of recorded spans
    size_t dropped = 0;  // number of spans that were too many to be recorded
    std::chrono::milliseconds duration{0};
};

class TraceRecorder : public TraceSink, public std::enable_shared_from_this<TraceRecorder>, public NoCopyable {
public:
    // processName: the name that trace viewers show. The recorder must be owned by a shared_ptr.
    explicit TraceRecorder(std::string processName, const Clock& clock = Clock::System());

    // Starts a recording and returns its number, from 1 on. Returns 0 if MAX_RECORDINGS are running. limit: the
    // recording ends by itself after this time, or after RECORDING_LIMIT if that is shorter. detached: Stop can find
    // the recording without its number, after the client that started the recording has ended.
    uint32_t Start(std::chrono::milliseconds limit, bool detached) EXCLUDES(mutex_);

    // Stops a recording if it still runs, and returns a part of its text. The call that returns the last part deletes
    // the recording. Returns no value if there is no such recording, or if offset is beyond the end of the text.
    // recording: the number of the recording; 0: the oldest detached recording. offset: the first byte of the part.
    // maxBytes: the largest size of the part.
    std::optional<TracePiece> Stop(uint32_t recording, size_t offset, size_t maxBytes) EXCLUDES(stopMutex_, mutex_);

    void Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept override
        EXCLUDES(mutex_);

private:
    enum class End : uint8_t { FINISHED, WITH_TASK, WITH_RECORDING };
    struct Span {
        std::string name;
        uint64_t tag = 0;
        bool isAsync = false;
        int32_t taskId = 0;  // only for an asynchronous span
        int tid = 0;
        SteadyTime begin;
        SteadyTime end;
        End how = End::FINISHED;
    };
    struct Thread {
        std::string name;
        std::vector<Span> open;  // the innermost span is last
        size_t tooDeep = 0;      // number of open spans beyond MAX_SPAN_DEPTH
    };
    struct Recording {
        bool detached = false;
        SteadyTime started;
        SteadyTime ends;
        bool stopped = false;
        std::map<int, Thread> threads;  // key: the thread id
        std::map<std::pair<std::string, int32_t>, Span> async;
        std::vector<Span> spans;
        size_t dropped = 0;
        std::string text;  // made by the first Stop; guarded by stopMutex_
    };
    using RecordingPtr = std::shared_ptr<Recording>;

    static void Record(Recording& recording, TracePhase phase, Span span);
    static void Begin(Recording& recording, Span span);
    static void BeginAsync(Recording& recording, Span span);
    static void EndAsync(Recording& recording, const Span& end);
    static void EndInnermost(Recording& recording, Thread& thread, SteadyTime when, End how);
    static void StoreFinishedSpan(Recording& recording, Span span, SteadyTime end, End how);
    static Thread* ThreadOf(Recording& recording, int tid);
    static void Finish(Recording& recording, SteadyTime when);
    static void AppendSpan(std::string& text, const Span& span);
    RecordingPtr FindAndFinish(uint32_t& recording) EXCLUDES(mutex_);
    void FinishExpired(SteadyTime now) REQUIRES(mutex_);
    void UpdateTraceSink() REQUIRES(mutex_);
    std::string Render(const Recording& recording) const;

    const std::string processName_;
    const Clock& clock_;
    Mutex stopMutex_;  // locked before mutex_
    Mutex mutex_;
    std::map<uint32_t, RecordingPtr> recordings_ GUARDED_BY(mutex_);  // only Stop uses a stopped recording
    uint32_t lastRecording_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::QuviewDFX
