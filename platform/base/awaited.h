// Awaited: a value that one thread gives, once, and others wait for, each as long as it likes. Held by std::shared_ptr
// from both sides, because whoever waited too long may be gone when the value comes after all.
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

    // Blocks; none when the deadline passes first.
    std::optional<T> WaitUntil(std::chrono::steady_clock::time_point deadline)
    {
        MutexLock lock(mutex_);
        while (!value_ && given_.WaitUntil(mutex_, deadline)) {
        }
        return value_;
    }

private:
    Mutex mutex_;
    CondVar given_;
    std::optional<T> value_ GUARDED_BY(mutex_);
};

}  // namespace Vexo
