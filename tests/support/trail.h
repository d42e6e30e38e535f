// What tests of threads wait with: a gate that holds tasks, and a trail of what has happened so far, which fakes and
// listeners keep too; and the threads on which a fake calls back. Any thread. What adds to a trail does so last, so
// that the trail may go once all has been seen.
#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/eventually.h"

namespace Vexo::Tests {

// Holds whoever goes its way until it is opened, at the latest by its destructor. A way outlives its gate.
class Gate {
public:
    Gate() = default;
    ~Gate() { Open(); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void Open()
    {
        std::call_once(once_, [this] { promise_.set_value(); });
    }
    std::function<void()> Way() const
    {
        return [opened = opened_] { opened.wait(); };
    }

private:
    std::promise<void> promise_;
    const std::shared_future<void> opened_ = promise_.get_future().share();
    std::once_flag once_;
};

// Runs each callback on a thread of its own; the destructor waits for them. A callback that may hold the last reference
// to the owner is joined before.
class CallbackThreads {
public:
    void Run(const std::function<void()>& callback)
    {
        const std::lock_guard lock(mutex_);
        threads_.emplace_back(callback);
    }
    void Join()
    {
        std::vector<std::jthread> threads;
        {
            const std::lock_guard lock(mutex_);
            threads.swap(threads_);
        }
    }

private:
    std::mutex mutex_;
    std::vector<std::jthread> threads_;
};

template <typename T>
class Trail {
public:
    void Add(T value)
    {
        const std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        added_.notify_all();
    }
    // Blocks until count values are there, or the limit has passed; what is there then.
    std::vector<T> WaitFor(size_t count)
    {
        std::unique_lock lock(mutex_);
        added_.wait_for(lock, WAIT_LIMIT, [&] { return values_.size() >= count; });
        return values_;
    }
    // The values since the last Take.
    std::vector<T> Take()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(values_, {});
    }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::vector<T> values_;
};

}  // namespace Vexo::Tests
