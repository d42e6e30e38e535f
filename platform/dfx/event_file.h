// EventFile: writes system events as JSON lines to a file of bounded size. A full file is renamed to FILE.1, FILE.1 to
// FILE.2 and so on; the oldest file is deleted. A file contains whole lines only. A line that could not be written
// whole is removed at once. A line that a crash has cut short is removed when the file is opened. Thread-safe; blocks
// on the disk. Only one process may have a file open. Format of a line: event_text.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// The longest line. An event with a longer line is refused, because it would displace many older events.
inline constexpr size_t MAX_EVENT_BYTES = 32 * 1024;
inline constexpr uint32_t MAX_EVENT_FILES = 100;

struct EventFileOptions {
    std::filesystem::path file;
    uint64_t maxBytes = 1024 * 1024;  // the largest size of one file
    uint32_t files = 4;               // number of files, the current one included
};

// Consecutive events, as returned by Read. A cursor is a position in bytes, which is valid while the EventFile exists.
// Cursor 0 stands for the oldest event that is kept.
struct EventPage {
    std::string lines;    // whole lines; empty if Read has timed out
    uint64_t next = 0;    // the cursor of the line after the last line
    bool missed = false;  // events after the requested cursor were deleted before they were read
};

class EventFile : public SysEventSink, public NoCopyable {
public:
    // Opens the file and creates it if it does not exist. Later events are appended. The error names the file.
    [[nodiscard]] static Result<std::shared_ptr<EventFile>> Open(const EventFileOptions& options);

    // Returns 0. Returns a negative code if the event is lost. The file then contains no part of the event.
    int32_t Write(const SysEventRecord& record) noexcept override EXCLUDES(mutex_);

    // Returns at most maxBytes of the lines after the cursor. Cuts only a line that is longer than maxBytes. Blocks
    // until at least one line exists. limit: the longest time to block. Fails if the cursor is beyond the last event,
    // or if the file cannot be read.
    [[nodiscard]] Result<EventPage> Read(uint64_t cursor, size_t maxBytes, std::chrono::milliseconds limit)
        EXCLUDES(mutex_);

    explicit EventFile(const EventFileOptions& options);  // call Open instead

private:
    // Returns the path of FILE.n, or of the current file for n = 0.
    std::filesystem::path PathOf(size_t n) const;
    [[nodiscard]] Result<void> OpenCurrent() REQUIRES(mutex_);
    void RemoveTornLine() REQUIRES(mutex_);
    void RemoveSurplusFiles() const;
    void MeasureOlder() REQUIRES(mutex_);
    bool Append(const std::string& line) REQUIRES(mutex_);
    void Rotate() REQUIRES(mutex_);
    bool ReadPiece(uint64_t at, size_t maxBytes, EventPage& page) const REQUIRES(mutex_);

    const EventFileOptions options_;
    Mutex mutex_;
    CondVar changed_;
    UniqueFd current_ GUARDED_BY(mutex_);
    uint64_t currentBytes_ GUARDED_BY(mutex_) = 0;
    std::vector<uint64_t> olderBytes_ GUARDED_BY(mutex_);  // sizes of FILE.1, FILE.2, …
    uint64_t oldest_ GUARDED_BY(mutex_) = 0;               // cursor of the first byte that is kept
    uint64_t end_ GUARDED_BY(mutex_) = 0;                  // cursor of the next byte to write
};

}  // namespace Vexo::QuviewDFX
