// Cancellation: a flag that asks blocking work on one or more threads to stop, and wakes those threads. Any thread may
// use it.
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
    // Sets the flag, and calls the function of each existing Waker on this thread. Idempotent.
    void Cancel() EXCLUDES(mutex_);
    bool IsCancelled() const { return isCancelled_.load(); }
    // Blocks until the given time or until Cancel is called, and returns IsCancelled().
    bool WaitUntil(SteadyTime time) EXCLUDES(mutex_);

    // While a Waker exists, Cancel() calls the Waker's callback `wake`. If the flag is already set, the constructor
    // calls the callback. The callback runs while the mutex of the Cancellation is locked. So the callback must not
    // block, and must not use the Cancellation or its Wakers. After the destructor has returned, the callback is not
    // running and is not called again.
    class Waker : public NoCopyable {
    public:
        Waker(Cancellation* cancellation, std::function<void()> wake);  // if cancellation is null, does nothing
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
