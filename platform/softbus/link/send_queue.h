// SendQueue: the queue of the frames that a link must send. Its size is limited. Any thread may add frames. One thread
// at a time takes the frames and writes them to the socket: a thread that added a frame, or the reactor thread.
#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/link/frame.h"

namespace Vexo::SoftBus {

class SendQueue : public NoCopyable {
public:
    enum class Pushed {
        QUEUED,       // added; another thread writes already and will send this frame too
        QUEUED_WAKE,  // added; the caller must write the queued frames or make the reactor thread write them
        FULL,
        CLOSED,
    };

    explicit SendQueue(size_t maxBytes) : maxBytes_(maxBytes) {}

    // Adds a copy of the frame. Does not block. Returns FULL if the queue would become larger than maxBytes. An empty
    // queue accepts every frame.
    Pushed Push(FrameKind kind, const void* payload, size_t bytes) EXCLUDES(mutex_);
    // Adds a last frame without payload, even if the queue is full. Later calls of Push return CLOSED.
    Pushed PushLast(FrameKind kind) EXCLUDES(mutex_);
    void Close() EXCLUDES(mutex_);

    // Removes one or more whole frames from the queue. bytes: receives the frames, ready to be written. Returns false
    // if the queue is empty; the next call that adds a frame then returns QUEUED_WAKE.
    bool Take(std::string& bytes) EXCLUDES(mutex_);
    // Call when bytes from Take were written to the socket. bytes: the number of written bytes.
    void Sent(size_t bytes) EXCLUDES(mutex_);
    bool Empty() const EXCLUDES(mutex_);

private:
    Pushed Append(FrameKind kind, const void* payload, size_t bytes) REQUIRES(mutex_);

    const size_t maxBytes_;
    mutable Mutex mutex_;
    std::deque<std::string> chunks_ GUARDED_BY(mutex_);
    size_t queuedBytes_ GUARDED_BY(mutex_) = 0;  // also counts bytes that were taken but not sent yet
    bool writerActive_ GUARDED_BY(mutex_) = false;
    bool closed_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::SoftBus
