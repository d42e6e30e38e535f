// Helpers for tests with threads: Gate blocks tasks until it is opened, Trail records values in order and waits for
// them, and CallbackThreads runs the callbacks of a fake. Any thread may call them. A thread that has added a value to
// a trail does nothing else with the trail. So a test may destroy the trail once all values have arrived.
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

// Blocker() returns a function that blocks until the gate is opened. The destructor opens the gate, too. The function
// may outlive the gate.
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
    std::function<void()> Blocker() const
    {
        return [opened = opened_] { opened.wait(); };
    }

private:
    std::promise<void> promise_;
    const std::shared_future<void> opened_ = promise_.get_future().share();
    std::once_flag once_;
};

// Runs each callback on its own thread. The destructor waits for all these threads. A thread cannot join itself, so
// call Join() first if a callback may hold the last reference to the owner of this object.
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
    // Blocks until count values have been added, or until WAIT_LIMIT has passed. Returns all values that exist then.
    std::vector<T> WaitFor(size_t count)
    {
        std::unique_lock lock(mutex_);
        added_.wait_for(lock, WAIT_LIMIT, [&] { return values_.size() >= count; });
        return values_;
    }
    // Removes all values from the trail and returns them.
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
