// GetOrCreateInstance: the double-checked creation that the service's singletons share. A class keeps its pointer, its
// lock and a flag as static members; the flag, not the pointer, is read without the lock. Any thread; blocks only while
// another thread creates the object.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

namespace Vexo::NetManagerStandard {

template <typename T>
std::shared_ptr<T> GetOrCreateInstance(std::shared_ptr<T>& instance, std::mutex& lock, std::atomic<bool>& created)
{
    if (!created.load(std::memory_order_acquire)) {
        const std::lock_guard<std::mutex> guard(lock);
        if (!created.load(std::memory_order_relaxed)) {
            instance = std::make_shared<T>();
            created.store(true, std::memory_order_release);
        }
    }
    return instance;
}

}  // namespace Vexo::NetManagerStandard
