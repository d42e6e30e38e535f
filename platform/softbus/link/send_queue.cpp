#include "platform/softbus/link/send_queue.h"

namespace Vexo::SoftBus {

namespace {

// Small frames are combined in chunks of at most this size. A chunk is sent in one TLS record.
constexpr size_t CHUNK_BYTES = 16 * 1024;

}  // namespace

SendQueue::Pushed SendQueue::Append(FrameKind kind, const void* payload, size_t bytes)
{
    const size_t frameBytes = FRAME_HEADER_BYTES + bytes;
    if (chunks_.empty() || chunks_.back().size() + frameBytes > CHUNK_BYTES) {
        chunks_.emplace_back();
        if (bytes > CHUNK_BYTES) {
            chunks_.back().reserve(frameBytes);
        }
    }
    std::string& chunk = chunks_.back();
    chunk.append(EncodeHeader(kind, bytes));
    chunk.append(static_cast<const char*>(payload), bytes);
    queuedBytes_ += frameBytes;
    if (writerActive_) {
        return Pushed::QUEUED;
    }
    writerActive_ = true;
    return Pushed::QUEUED_WAKE;
}

SendQueue::Pushed SendQueue::Push(FrameKind kind, const void* payload, size_t bytes)
{
    MutexLock lock(mutex_);
    if (closed_) {
        return Pushed::CLOSED;
    }
    if (queuedBytes_ > 0 && queuedBytes_ + FRAME_HEADER_BYTES + bytes > maxBytes_) {
        return Pushed::FULL;
    }
    return Append(kind, payload, bytes);
}

SendQueue::Pushed SendQueue::PushLast(FrameKind kind)
{
    MutexLock lock(mutex_);
    if (closed_) {
        return Pushed::CLOSED;
    }
    closed_ = true;
    return Append(kind, "", 0);
}

void SendQueue::Close()
{
    MutexLock lock(mutex_);
    closed_ = true;
    chunks_.clear();
    queuedBytes_ = 0;
}

bool SendQueue::Take(std::string& bytes)
{
    MutexLock lock(mutex_);
    if (chunks_.empty()) {
        writerActive_ = false;
        return false;
    }
    bytes = std::move(chunks_.front());
    chunks_.pop_front();
    return true;
}

void SendQueue::Sent(size_t bytes)
{
    MutexLock lock(mutex_);
    queuedBytes_ -= bytes < queuedBytes_ ? bytes : queuedBytes_;
}

bool SendQueue::Empty() const
{
    MutexLock lock(mutex_);
    return queuedBytes_ == 0;
}

}  // namespace Vexo::SoftBus
