// SendQueue: the bounded queue of frames between those who send on a link and the reactor that writes to its socket.
// Push from any thread; Take and Sent from the reactor.
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
        QUEUED,       // the reactor is writing already and will come to it
        QUEUED_WAKE,  // the caller must wake the reactor
        FULL,
        CLOSED,
    };

    explicit SendQueue(size_t maxBytes) : maxBytes_(maxBytes) {}

    // Copies the frame; does not block. A frame always fits into an empty queue.
    Pushed Push(FrameKind kind, const void* payload, size_t bytes) EXCLUDES(mutex_);
    // Adds a last frame, for which there is always room, and refuses all that come later.
    Pushed PushLast(FrameKind kind) EXCLUDES(mutex_);
    void Close() EXCLUDES(mutex_);

    // The next bytes to write, one or more frames together. False when there are none: the next push asks to be woken
    // for.
    bool Take(std::string& bytes) EXCLUDES(mutex_);
    // bytes of what was taken have reached the kernel.
    void Sent(size_t bytes) EXCLUDES(mutex_);
    bool Empty() const EXCLUDES(mutex_);

private:
    Pushed Append(FrameKind kind, const void* payload, size_t bytes) REQUIRES(mutex_);

    const size_t maxBytes_;
    mutable Mutex mutex_;
    std::deque<std::string> chunks_ GUARDED_BY(mutex_);
    size_t queuedBytes_ GUARDED_BY(mutex_) = 0;  // taken but not sent included
    bool writerActive_ GUARDED_BY(mutex_) = false;
    bool closed_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::SoftBus
