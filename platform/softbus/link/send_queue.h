// SendQueue: the bounded queue of the frames that a link has to send. Any thread pushes frames; the reactor thread
// takes them and writes them to the socket.
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
        QUEUED,       // the reactor is writing already, and will send this frame too
        QUEUED_WAKE,  // the caller must wake the reactor
        FULL,
        CLOSED,
    };

    explicit SendQueue(size_t maxBytes) : maxBytes_(maxBytes) {}

    // Adds a copy of the frame. Does not block. Returns FULL if the queue would exceed maxBytes; an empty queue accepts
    // every frame.
    Pushed Push(FrameKind kind, const void* payload, size_t bytes) EXCLUDES(mutex_);
    // Adds a last frame without payload, even to a full queue. Later frames are refused with CLOSED.
    Pushed PushLast(FrameKind kind) EXCLUDES(mutex_);
    void Close() EXCLUDES(mutex_);

    // Moves the next bytes to write (one or more whole frames) into bytes. Returns false if there are none; the next
    // push then returns QUEUED_WAKE.
    bool Take(std::string& bytes) EXCLUDES(mutex_);
    // Call when that many of the taken bytes were written to the socket.
    void Sent(size_t bytes) EXCLUDES(mutex_);
    bool Empty() const EXCLUDES(mutex_);

private:
    Pushed Append(FrameKind kind, const void* payload, size_t bytes) REQUIRES(mutex_);

    const size_t maxBytes_;
    mutable Mutex mutex_;
    std::deque<std::string> chunks_ GUARDED_BY(mutex_);
    size_t queuedBytes_ GUARDED_BY(mutex_) = 0;  // includes bytes that are taken, but not sent
    bool writerActive_ GUARDED_BY(mutex_) = false;
    bool closed_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::SoftBus
