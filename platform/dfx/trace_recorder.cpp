#include "platform/dfx/trace_recorder.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/base/check.h"
#include "platform/base/json.h"
#include "platform/dfx/event_text.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr size_t MAX_NAME_BYTES = 128;
constexpr size_t ID_DIGITS = 32;  // a name part with at least so many hex digits in a row is an id
constexpr size_t SHOWN_DIGITS = 5;
constexpr const char* MASK = "**";

bool IsHex(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Returns the name that is recorded for a span. Ids in the name are masked, in case a caller has put an id into the
// name. The name is cut to MAX_NAME_BYTES.
std::string SafeName(std::string_view name)
{
    if (name.size() < ID_DIGITS) {
        return std::string(name);  // too short for an id
    }
    std::string safe;
    while (!name.empty()) {
        const size_t run = static_cast<size_t>(std::find_if_not(name.begin(), name.end(), IsHex) - name.begin());
        if (run >= ID_DIGITS) {
            safe += name.substr(0, SHOWN_DIGITS);
            safe += MASK;
            safe += name.substr(run - SHOWN_DIGITS, SHOWN_DIGITS);
        } else {
            safe += name.substr(0, run);
        }
        name.remove_prefix(run);
        if (!name.empty()) {
            safe += name.front();
            name.remove_prefix(1);
        }
    }
    return safe.substr(0, MAX_NAME_BYTES);
}

int ThisThread()
{
    thread_local const int tid = ::gettid();
    return tid;
}

std::string ThisThreadsName()
{
    std::array<char, 16> name{};  // pthread_getname_np(3)
    return ::pthread_getname_np(::pthread_self(), name.data(), name.size()) == 0 ? name.data() : "";
}

double Microseconds(std::chrono::steady_clock::duration duration)
{
    return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(duration).count());
}

Json NewEvent(const char* phase, const std::string& name, int tid)
{
    Json event = NewObject();
    AddText(event.get(), "ph", phase);
    AddText(event.get(), "name", name);
    cJSON_AddNumberToObject(event.get(), "pid", ::getpid());
    cJSON_AddNumberToObject(event.get(), "tid", tid);
    return event;
}

void AppendLine(std::string& text, const Json& event)
{
    text += text.ends_with('[') ? "\n" : ",\n";
    text += JsonText(event.get());
}

void AppendName(std::string& text, const char* what, int tid, const std::string& name)
{
    const Json event = NewEvent("M", what, tid);
    cJSON* arguments = cJSON_AddObjectToObject(event.get(), "args");
    AddText(arguments, "name", name);
    AppendLine(text, event);
}

}  // namespace

TraceRecorder::TraceRecorder(std::string processName, const Clock& clock)
    : processName_(std::move(processName)), clock_(clock)
{
}

uint32_t TraceRecorder::Start(std::chrono::milliseconds limit, bool detached)
{
    const MutexLock lock(mutex_);
    const SteadyTime now = clock_.Now();
    FinishExpired(now);
    if (recordings_.size() >= MAX_RECORDINGS) {
        const auto ended = std::find_if(recordings_.begin(), recordings_.end(),
                                        [](const auto& entry) { return entry.second->stopped; });
        if (ended == recordings_.end()) {
            return 0;
        }
        recordings_.erase(ended);
    }
    const auto recording = std::make_shared<Recording>();
    recording->detached = detached;
    recording->started = now;
    recording->ends = now + std::min<std::chrono::milliseconds>(limit, RECORDING_LIMIT);
    recordings_[++lastRecording_] = recording;
    UpdateTraceSink();
    return lastRecording_;
}

// Finds and stops a recording, so that no thread adds spans to the recording any more. Returns null if there is no such
// recording. recording: the number of the recording to find; 0: the oldest detached recording. On return, the parameter
// is the number of the found recording.
TraceRecorder::RecordingPtr TraceRecorder::FindAndFinish(uint32_t& recording)
{
    const MutexLock lock(mutex_);
    const auto found = recording != 0 ? recordings_.find(recording)
                                      : std::find_if(recordings_.begin(), recordings_.end(),
                                                     [](const auto& entry) { return entry.second->detached; });
    if (found == recordings_.end()) {
        return nullptr;
    }
    recording = found->first;
    Finish(*found->second, clock_.Now());
    UpdateTraceSink();
    return found->second;
}

std::optional<TracePiece> TraceRecorder::Stop(uint32_t recording, size_t offset, size_t maxBytes)
{
    const MutexLock stopLock(stopMutex_);
    const RecordingPtr stopped = FindAndFinish(recording);
    if (!stopped) {
        return std::nullopt;
    }
    if (stopped->text.empty()) {
        stopped->text = Render(*stopped);
    }
    if (offset >= stopped->text.size()) {
        return std::nullopt;
    }
    const auto duration = std::chrono::duration_cast<std::chrono::milliseconds>(stopped->ends - stopped->started);
    TracePiece piece{recording,
                     stopped->text.substr(offset, maxBytes),
                     stopped->text.size(),
                     stopped->spans.size(),
                     stopped->dropped,
                     duration};
    if (const size_t newline = piece.text.rfind('\n'); newline != std::string::npos) {
        piece.text.resize(newline + 1);
    }
    if (offset + piece.text.size() == stopped->text.size()) {
        const MutexLock lock(mutex_);
        recordings_.erase(recording);
    }
    return piece;
}

void TraceRecorder::Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept
{
    try {
        Span span;
        span.name = SafeName(name);
        span.tag = tag;
        span.taskId = taskId;
        span.tid = ThisThread();
        const MutexLock lock(mutex_);
        span.begin = clock_.Now();
        FinishExpired(span.begin);
        for (auto& [number, recording] : recordings_) {
            if (!recording->stopped) {
                Record(*recording, phase, span);
            }
        }
    } catch (...) {
        // Out of memory: the span is lost, because the traced code must not fail.
    }
}

void TraceRecorder::Record(Recording& recording, TracePhase phase, Span span)
{
    if (phase == TracePhase::ASYNC_BEGIN || phase == TracePhase::ASYNC_END) {
        span.isAsync = true;
        if (phase == TracePhase::ASYNC_BEGIN) {
            BeginAsync(recording, std::move(span));
        } else {
            EndAsync(recording, span);
        }
        return;
    }
    if (phase == TracePhase::BEGIN) {
        Begin(recording, std::move(span));
        return;
    }
    // The thread has no entry here if its span began before the recording.
    const auto thread = recording.threads.find(span.tid);
    if (thread == recording.threads.end()) {
        return;
    }
    if (phase == TracePhase::END) {
        EndInnermost(recording, thread->second, span.begin, End::FINISHED);
        return;
    }
    while (thread->second.tooDeep > 0 || !thread->second.open.empty()) {
        EndInnermost(recording, thread->second, span.begin, End::WITH_TASK);
    }
}

TraceRecorder::Thread* TraceRecorder::ThreadOf(Recording& recording, int tid)
{
    const auto known = recording.threads.find(tid);
    if (known != recording.threads.end()) {
        return &known->second;
    }
    if (recording.threads.size() >= MAX_RECORDED_THREADS) {
        return nullptr;
    }
    Thread& thread = recording.threads[tid];
    thread.name = ThisThreadsName();
    return &thread;
}

void TraceRecorder::Begin(Recording& recording, Span span)
{
    Thread* thread = ThreadOf(recording, span.tid);
    if (thread == nullptr) {
        ++recording.dropped;
    } else if (thread->open.size() >= MAX_SPAN_DEPTH) {
        ++thread->tooDeep;
        ++recording.dropped;
    } else {
        thread->open.push_back(std::move(span));
    }
}

void TraceRecorder::EndInnermost(Recording& recording, Thread& thread, SteadyTime when, End how)
{
    if (thread.tooDeep > 0) {
        --thread.tooDeep;
    } else if (!thread.open.empty()) {
        Span span = std::move(thread.open.back());
        thread.open.pop_back();
        StoreFinishedSpan(recording, std::move(span), when, how);
    }
}

void TraceRecorder::BeginAsync(Recording& recording, Span span)
{
    if (recording.async.size() >= MAX_RECORDED_SPANS || ThreadOf(recording, span.tid) == nullptr) {
        ++recording.dropped;
        return;
    }
    std::pair<std::string, int32_t> key{span.name, span.taskId};
    recording.async.insert_or_assign(std::move(key), std::move(span));
}

void TraceRecorder::EndAsync(Recording& recording, const Span& end)
{
    if (auto begun = recording.async.extract({end.name, end.taskId})) {
        StoreFinishedSpan(recording, std::move(begun.mapped()), end.begin, End::FINISHED);
    }
}

void TraceRecorder::StoreFinishedSpan(Recording& recording, Span span, SteadyTime end, End how)
{
    if (recording.spans.size() >= MAX_RECORDED_SPANS) {
        ++recording.dropped;
        return;
    }
    span.end = end;
    span.how = how;
    recording.spans.push_back(std::move(span));
}

void TraceRecorder::Finish(Recording& recording, SteadyTime when)
{
    if (std::exchange(recording.stopped, true)) {
        return;
    }
    recording.ends = std::min(recording.ends, when);
    for (auto& [tid, thread] : recording.threads) {
        while (thread.tooDeep > 0 || !thread.open.empty()) {
            EndInnermost(recording, thread, recording.ends, End::WITH_RECORDING);
        }
    }
    for (auto& [key, span] : recording.async) {
        StoreFinishedSpan(recording, std::move(span), recording.ends, End::WITH_RECORDING);
    }
    recording.async.clear();
}

void TraceRecorder::FinishExpired(SteadyTime now)
{
    bool expired = false;
    for (auto& [number, recording] : recordings_) {
        if (!recording->stopped && now >= recording->ends) {
            Finish(*recording, now);
            expired = true;
        }
    }
    if (expired) {
        UpdateTraceSink();
    }
}

void TraceRecorder::UpdateTraceSink()
{
    DISTNET_ASSERT(!weak_from_this().expired(), "a recorder is owned by a shared_ptr");
    const bool any =
        std::any_of(recordings_.begin(), recordings_.end(), [](const auto& entry) { return !entry.second->stopped; });
    SetTraceSink(any ? shared_from_this() : nullptr);
}

// Appends the events of one span. Their times are CLOCK_MONOTONIC, so that the traces of several processes of a machine
// can be merged.
void TraceRecorder::AppendSpan(std::string& text, const Span& span)
{
    const Json event = NewEvent(span.isAsync ? "b" : "X", span.name, span.tid);
    cJSON_AddStringToObject(event.get(), "cat", span.tag == TRACE_TAG_PLATFORM ? "platform" : "service");
    cJSON* time = cJSON_AddNumberToObject(event.get(), "ts", Microseconds(span.begin.time_since_epoch()));
    if (span.isAsync) {
        cJSON_AddNumberToObject(event.get(), "id", span.taskId);
    } else {
        cJSON_AddNumberToObject(event.get(), "dur", Microseconds(span.end - span.begin));
    }
    if (span.how != End::FINISHED) {
        cJSON* arguments = cJSON_AddObjectToObject(event.get(), "args");
        cJSON_AddStringToObject(arguments, "unfinished",
                                span.how == End::WITH_TASK ? "its task ended" : "the recording ended");
    }
    AppendLine(text, event);
    if (span.isAsync) {
        cJSON_SetValuestring(cJSON_GetObjectItemCaseSensitive(event.get(), "ph"), "e");
        cJSON_SetNumberValue(time, Microseconds(span.end.time_since_epoch()));
        AppendLine(text, event);
    }
}

// Returns the text of the recording, with one event per line.
std::string TraceRecorder::Render(const Recording& recording) const
{
    std::string text = R"({"displayTimeUnit":"ms","otherData":{"dropped":)" + std::to_string(recording.dropped) +
                       R"(},"traceEvents":[)";
    AppendName(text, "process_name", 0, processName_);
    for (const auto& [tid, thread] : recording.threads) {
        AppendName(text, "thread_name", tid, thread.name);
    }
    for (const Span& span : recording.spans) {
        AppendSpan(text, span);
    }
    return text + "\n]}\n";
}

}  // namespace Vexo::QuviewDFX
