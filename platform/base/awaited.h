// Awaited: a value that one thread sets once and other threads wait for. The setting thread and each waiting thread
// hold a std::shared_ptr to the Awaited object, because a waiting thread may time out and end before the value is set.
// Any thread may call the functions.
#pragma once

#include <chrono>
#include <optional>
#include <utility>

#include "platform/base/mutex.h"

namespace Vexo {

template <typename T>
class Awaited {
public:
    void Set(T value)
    {
        MutexLock lock(mutex_);
        value_ = std::move(value);
        valueSet_.NotifyAll();
    }

    // Blocks until the value is set, and returns a copy of the value. Returns nullopt if no value is set in time.
    // limit: the longest time to block.
    std::optional<T> WaitFor(std::chrono::milliseconds limit)
    {
        MutexLock lock(mutex_);
        valueSet_.WaitFor(mutex_, limit, [this]() REQUIRES(mutex_) { return value_.has_value(); });
        return value_;
    }

private:
    Mutex mutex_;
    CondVar valueSet_;
    std::optional<T> value_ GUARDED_BY(mutex_);
};

}  // namespace Vexo
