// Mutex, MutexLock, CondVar and SharedMutex: the standard types with clang's thread-safety annotations. Clang checks at
// compile time (-Wthread-safety) that a member marked GUARDED_BY(mutex_) is used only while mutex_ is held. Any thread
// may use the types.
// https://releases.llvm.org/14.0.0/tools/clang/docs/ThreadSafetyAnalysis.html
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

#include "platform/base/check.h"
#include "platform/base/clock.h"

#if defined(__clang__)
#define VEXO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VEXO_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) VEXO_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY VEXO_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) VEXO_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) VEXO_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) VEXO_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) VEXO_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) VEXO_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) VEXO_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) VEXO_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define RELEASE(...) VEXO_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) VEXO_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS VEXO_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace Vexo {

class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    friend class CondVar;
    std::mutex mutex_;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE()
    {
        if (held_) {
            mutex_.unlock();
        }
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // Unlock releases the mutex before a call that must not run while the mutex is held. Lock acquires the mutex again.
    void Unlock() RELEASE()
    {
        DISTNET_ASSERT(held_, "Unlock is called while the mutex is held");
        held_ = false;
        mutex_.unlock();
    }
    void Lock() ACQUIRE()
    {
        DISTNET_ASSERT(!held_, "Lock is called while the mutex is not held");
        mutex_.lock();
        held_ = true;
    }

private:
    Mutex& mutex_;
    bool held_ = true;
};

// A condition variable. Each wait function releases the mutex while it blocks, and the caller holds the mutex before
// and after the call. Wait and WaitUntil may wake spuriously: call them in a loop that checks the condition.
class CondVar {
public:
    void Wait(Mutex& mutex) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        lock.release();
    }

    // Blocks until a notification or until the deadline. Returns false when the deadline has passed.
    bool WaitUntil(Mutex& mutex, SteadyTime deadline) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        const bool intime = condition_.wait_until(lock, deadline) == std::cv_status::no_timeout;
        lock.release();
        return intime;
    }

    // Blocks until the condition is true. limit: the longest time to block. Returns whether the condition is true. The
    // condition is a lambda marked REQUIRES(mutex). The thread-safety analysis is off in this function, because the
    // analysis cannot see that the mutex is held where the lambda is called.
    template <typename Condition>
    bool WaitFor(Mutex& mutex, std::chrono::nanoseconds limit, const Condition& condition)
        REQUIRES(mutex) NO_THREAD_SAFETY_ANALYSIS
    {
        const SteadyTime deadline = Clock::System().Now() + limit;
        while (!condition()) {
            if (!WaitUntil(mutex, deadline)) {
                return condition();
            }
        }
        return true;
    }

    void NotifyOne() noexcept { condition_.notify_one(); }
    void NotifyAll() noexcept { condition_.notify_all(); }

private:
    std::condition_variable condition_;
};

// A mutex that one writer or any number of readers can hold at the same time. A reader must not change the guarded
// data.
class CAPABILITY("mutex") SharedMutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    void lock_shared() ACQUIRE_SHARED() { mutex_.lock_shared(); }
    void unlock_shared() RELEASE_SHARED() { mutex_.unlock_shared(); }

private:
    std::shared_mutex mutex_;
};

class SCOPED_CAPABILITY WriterLock {
public:
    explicit WriterLock(SharedMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~WriterLock() RELEASE() { mutex_.unlock(); }
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

private:
    SharedMutex& mutex_;
};

class SCOPED_CAPABILITY ReaderLock {
public:
    explicit ReaderLock(SharedMutex& mutex) ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.lock_shared(); }
    ~ReaderLock() RELEASE() { mutex_.unlock_shared(); }
    ReaderLock(const ReaderLock&) = delete;
    ReaderLock& operator=(const ReaderLock&) = delete;

private:
    SharedMutex& mutex_;
};

}  // namespace Vexo
