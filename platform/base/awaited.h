// Awaited: a value that one thread gives, once, and others wait for, each as long as it likes. Held by std::shared_ptr
// from both sides, because the waiting side may have given up and be destroyed when the value comes late.
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

    // Blocks; none when the limit passes first.
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
