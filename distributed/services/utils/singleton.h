// GetOrCreateInstance: creates the service's singletons with double-checked locking. A singleton class has a pointer, a
// lock and a flag as static members. The pointer is written once, under the lock, before the flag is set. A reader that
// finds the flag set needs no lock. The object is never destroyed, because tasks and platform callbacks may still use
// it when the process ends. Any thread may call the function. It blocks only while another thread creates the object.
#pragma once

#include <atomic>
#include <memory>

#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo::NetManagerStandard {

template <typename T>
std::shared_ptr<T> GetOrCreateInstance(NeverDestroyed<std::shared_ptr<T>>& instance, Mutex& lock,
                                       std::atomic<bool>& created)
{
    if (!created.load(std::memory_order_acquire)) {
        const MutexLock guard(lock);
        if (!created.load(std::memory_order_relaxed)) {
            instance.value = std::make_shared<T>();
            created.store(true, std::memory_order_release);
        }
    }
    return instance.value;
}

}  // namespace Vexo::NetManagerStandard
