// Cancellation: tells work that blocks on several threads that its result is not wanted any more. Any thread.
#pragma once

#include <atomic>
#include <functional>
#include <list>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Host {

class Cancellation : public NoCopyable {
public:
    // Runs the callbacks of Waker that exist, on this thread. Idempotent.
    void Cancel() EXCLUDES(mutex_);
    bool IsCancelled() const { return isCancelled_.load(); }
    // Blocks until the time or the cancellation; returns whether it was cancelled.
    bool WaitUntil(SteadyTime time) EXCLUDES(mutex_);

    // While it exists, Cancel() calls wake. A Waker made after the cancellation calls it at once. wake runs under the
    // cancellation's lock: it must not block, and must not use the Cancellation or its wakers. Once the destructor has
    // returned, wake neither runs nor will.
    class Waker : public NoCopyable {
    public:
        Waker(Cancellation* cancellation, std::function<void()> wake);  // null: does nothing
        ~Waker();

    private:
        Cancellation* const cancellation_;
        std::list<std::function<void()>>::iterator place_;
    };

private:
    std::atomic<bool> isCancelled_{false};
    Mutex mutex_;
    CondVar cancelled_;
    std::list<std::function<void()>> wakers_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Host
