// EventFile: system events as JSON lines in a file of bounded size. A full file is renamed to FILE.1, FILE.1 to FILE.2
// and so on; the oldest goes. Lines are whole: one that could not be written whole is taken back, and one that a crash
// cut short is removed when the file is opened again. Any thread; writing blocks on the disk only. One process at a
// time may have a file open. Format of a line: event_text.h.
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

// An event whose line would be longer is refused, so that one event never displaces many.
inline constexpr size_t MAX_EVENT_BYTES = 32 * 1024;
inline constexpr uint32_t MAX_EVENT_FILES = 100;

struct EventFileOptions {
    std::filesystem::path file;
    uint64_t maxBytes = 1024 * 1024;  // of each file
    uint32_t files = 4;               // at most, the current one included
};

// Consecutive lines. Cursors count bytes and hold for as long as the EventFile lives; 0 is the oldest event.
struct EventPage {
    std::string lines;    // whole lines; empty when nothing came within the limit
    uint64_t next = 0;    // the cursor of what follows them
    bool missed = false;  // older events, from the cursor on, were removed before they could be read
};

class EventFile : public SysEventSink, public NoCopyable {
public:
    // Continues a file that is there. The error names the file.
    [[nodiscard]] static Result<std::shared_ptr<EventFile>> Open(const EventFileOptions& options);

    // 0, or a negative code: the event is lost, and nothing of it is in the file.
    int32_t Write(const SysEventRecord& record) noexcept override EXCLUDES(mutex_);

    // The lines that follow the cursor, about maxBytes of them. Blocks until there are some, at the latest until limit
    // has passed. An error for a cursor that this file never gave, or a file that cannot be read.
    [[nodiscard]] Result<EventPage> Read(uint64_t cursor, size_t maxBytes, std::chrono::milliseconds limit)
        EXCLUDES(mutex_);

    explicit EventFile(const EventFileOptions& options);  // only Open makes one

private:
    // Of the n-th older file; 0 is the current one.
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
    std::vector<uint64_t> olderBytes_ GUARDED_BY(mutex_);  // of FILE.1, FILE.2, …
    uint64_t oldest_ GUARDED_BY(mutex_) = 0;               // cursors of the first byte kept, and of the next written
    uint64_t end_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::QuviewDFX
