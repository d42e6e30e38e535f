// Awaited: a value that one thread sets once and other threads wait for. Each side holds a std::shared_ptr to it,
// because a waiting thread may time out and be destroyed before the value is set. Any thread.
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
        given_.NotifyAll();
    }

    // Blocks until the value is set, for at most limit. Returns nullopt on timeout.
    std::optional<T> WaitFor(std::chrono::milliseconds limit)
    {
        MutexLock lock(mutex_);
        given_.WaitFor(mutex_, limit, [this]() REQUIRES(mutex_) { return value_.has_value(); });
        return value_;
    }

private:
    Mutex mutex_;
    CondVar given_;
    std::optional<T> value_ GUARDED_BY(mutex_);
};

}  // namespace Vexo
