// SinkHolder: the current sink of one kind, replaced as a whole. Readers take their own reference under a lock that is
// held for a pointer copy only; a flag answers "is there one?" without it. Any thread.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "platform/base/mutex.h"

namespace Vexo::QuviewDFX {

template <typename Sink>
class SinkHolder {
public:
    bool IsSet() const noexcept { return set_.load(std::memory_order_acquire); }

    std::shared_ptr<Sink> Get()
    {
        const MutexLock lock(mutex_);
        return sink_;
    }

    void Set(std::shared_ptr<Sink> sink)
    {
        {
            const MutexLock lock(mutex_);
            sink_.swap(sink);
            set_.store(sink_ != nullptr, std::memory_order_release);
        }
        // The previous sink is released here, outside the lock.
    }

private:
    std::atomic<bool> set_{false};
    Mutex mutex_;
    std::shared_ptr<Sink> sink_ GUARDED_BY(mutex_);
};

// A global that is constant-initialised and never destroyed: threads report until the process is gone, and reaching it
// costs no check.
template <typename T>
union NeverDestroyed {
    constexpr NeverDestroyed() : value() {}
    ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): "= default" would be deleted

    T value;
};

}  // namespace Vexo::QuviewDFX
