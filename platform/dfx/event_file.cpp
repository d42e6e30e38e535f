#include "platform/dfx/event_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <utility>

#include "platform/dfx/event_text.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr int WRITE_FAILED = -2;
constexpr int TOO_LARGE = -3;
constexpr mode_t FILE_MODE = 0640;
constexpr size_t SEARCH_BYTES = 4096;

uint64_t SizeOf(const std::filesystem::path& file)
{
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

// Returns the number of bytes up to the end of the last whole line. size: how many bytes of the file are searched.
// Searches from the end. If a read fails, the bytes that were not searched yet count as whole lines.
uint64_t BytesOfWholeLines(int fd, uint64_t size)
{
    std::array<char, SEARCH_BYTES> buffer{};
    while (size > 0) {
        const uint64_t from = size - std::min<uint64_t>(size, buffer.size());
        const ssize_t got = ::pread(fd, buffer.data(), static_cast<size_t>(size - from), static_cast<off_t>(from));
        if (got <= 0) {
            return size;
        }
        for (ssize_t at = got; at > 0; --at) {
            if (buffer[static_cast<size_t>(at - 1)] == '\n') {
                return from + static_cast<uint64_t>(at);
            }
        }
        size = from;
    }
    return 0;
}

}  // namespace

EventFile::EventFile(const EventFileOptions& options) : options_(options) {}

Result<std::shared_ptr<EventFile>> EventFile::Open(const EventFileOptions& options)
{
    auto file = std::make_shared<EventFile>(options);
    const MutexLock lock(file->mutex_);
    if (Result<void> opened = file->OpenCurrent(); !opened) {
        return Failure(std::move(opened).error());
    }
    file->RemoveTornLine();
    file->RemoveSurplusFiles();
    file->MeasureOlder();
    file->end_ = std::accumulate(file->olderBytes_.begin(), file->olderBytes_.end(), file->currentBytes_);
    return file;
}

std::filesystem::path EventFile::PathOf(size_t n) const
{
    return n == 0 ? options_.file : std::filesystem::path(options_.file.string() + "." + std::to_string(n));
}

Result<void> EventFile::OpenCurrent()
{
    current_.Reset(::open(options_.file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, FILE_MODE));
    if (!current_) {
        return Fail(ErrorCodeOf(errno), options_.file.string() + ": events cannot be written: " + std::strerror(errno));
    }
    currentBytes_ = SizeOf(options_.file);
    return {};
}

void EventFile::RemoveTornLine()
{
    const uint64_t whole = BytesOfWholeLines(current_.Get(), currentBytes_);
    if (whole < currentBytes_ && ::ftruncate(current_.Get(), static_cast<off_t>(whole)) == 0) {
        currentBytes_ = whole;
    }
}

// Deletes older files beyond the configured number, because an earlier configuration may have kept more files.
void EventFile::RemoveSurplusFiles() const
{
    for (size_t n = options_.files; n <= MAX_EVENT_FILES; ++n) {
        (void)::unlink(PathOf(n).c_str());
    }
}

void EventFile::MeasureOlder()
{
    olderBytes_.assign(options_.files - 1, 0);
    for (size_t n = 1; n < options_.files; ++n) {
        olderBytes_[n - 1] = SizeOf(PathOf(n));
    }
}

int32_t EventFile::Write(const SysEventRecord& record) noexcept
{
    try {
        const std::string line = EventLine(record);
        if (line.empty() || line.size() > MAX_EVENT_BYTES) {
            return line.empty() ? WRITE_FAILED : TOO_LARGE;
        }
        const MutexLock lock(mutex_);
        if (currentBytes_ > 0 && currentBytes_ + line.size() > options_.maxBytes) {
            Rotate();
        }
        return Append(line) ? 0 : WRITE_FAILED;
    } catch (...) {
        return WRITE_FAILED;
    }
}

bool EventFile::Append(const std::string& line)
{
    const ssize_t written = ::write(current_.Get(), line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size())) {
        if (written > 0) {
            // The disk is full. Remove the partial line, because the next line would be appended to it.
            (void)!::ftruncate(current_.Get(), static_cast<off_t>(currentBytes_));
        }
        return false;
    }
    currentBytes_ += line.size();
    end_ += line.size();
    changed_.NotifyAll();
    return true;
}

// Creates the new file before renaming any file. If the new file cannot be created, the current file grows beyond its
// limit, because a large file is better than a lost event.
void EventFile::Rotate()
{
    const std::filesystem::path next = options_.file.string() + ".new";
    UniqueFd opened(::open(next.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, FILE_MODE));
    if (!opened) {
        return;
    }
    (void)::fdatasync(current_.Get());
    for (size_t n = options_.files - 1; n > 0; --n) {
        // The result is ignored, because the file may be missing. Read skips missing files.
        (void)::rename(PathOf(n - 1).c_str(), PathOf(n).c_str());
    }
    if (::rename(next.c_str(), options_.file.c_str()) != 0) {
        return;
    }
    current_ = std::move(opened);
    currentBytes_ = 0;
    MeasureOlder();
    oldest_ = end_ - std::accumulate(olderBytes_.begin(), olderBytes_.end(), currentBytes_);
}

Result<EventPage> EventFile::Read(uint64_t cursor, size_t maxBytes, std::chrono::milliseconds limit)
{
    const MutexLock lock(mutex_);
    if (cursor > end_) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "cursor " + std::to_string(cursor) + " is beyond the last event, at " + std::to_string(end_));
    }
    changed_.WaitFor(mutex_, limit, [&]() REQUIRES(mutex_) { return cursor != end_; });
    EventPage page;
    page.missed = cursor != 0 && cursor < oldest_;
    page.next = std::max(cursor, oldest_);
    if (!ReadPiece(page.next, maxBytes, page)) {
        return Fail(ErrorCodeOf(errno), options_.file.string() + ": cannot be read: " + std::strerror(errno));
    }
    return page;
}

// Fills the page with lines from the file that contains the position "at". Returns false and sets errno if that file
// cannot be read.
bool EventFile::ReadPiece(uint64_t at, size_t maxBytes, EventPage& page) const
{
    size_t file = olderBytes_.size();
    uint64_t start = oldest_;
    while (file > 0 && at >= start + olderBytes_[file - 1]) {
        start += olderBytes_[--file];
    }
    const uint64_t size = file > 0 ? olderBytes_[file - 1] : currentBytes_;
    const UniqueFd older(file > 0 ? ::open(PathOf(file).c_str(), O_RDONLY | O_CLOEXEC) : -1);
    if (file > 0 && !older) {
        return false;
    }
    page.lines.resize(static_cast<size_t>(std::min<uint64_t>(maxBytes, size - (at - start))));
    const ssize_t got = ::pread(file > 0 ? older.Get() : current_.Get(), page.lines.data(), page.lines.size(),
                                static_cast<off_t>(at - start));
    if (got < 0) {
        return false;
    }
    page.lines.resize(static_cast<size_t>(got));
    // If the text contains no newline, maxBytes is smaller than the line, or this class did not write the text. Such
    // text is returned unchanged, so that the reader's cursor moves on.
    if (const size_t newline = page.lines.rfind('\n'); newline != std::string::npos) {
        page.lines.resize(newline + 1);
    }
    page.next = got == 0 ? start + size : at + page.lines.size();
    return true;
}

}  // namespace Vexo::QuviewDFX
