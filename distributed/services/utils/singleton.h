// GetOrCreateInstance: the double-checked creation that the service's singletons share. A class keeps its pointer, its
// lock and a flag as static members. The pointer is written once, under the lock, and is constant once the flag is set;
// so the flag, not the lock, guards its readers. The object is never destroyed: when the process ends, tasks and
// platform callbacks may still be in it. Any thread; blocks only while another thread creates the object.
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
