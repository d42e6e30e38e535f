// SinkHolder: holds the current sink of one kind (sinks.h). Get returns a pointer that keeps the sink alive even if Set
// replaces it. The lock is held only while a pointer is copied. Thread-safe.
#pragma once

#include <memory>
#include <utility>

#include "platform/base/mutex.h"

namespace Vexo::QuviewDFX {

template <typename Sink>
class SinkHolder {
public:
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
        }
        // The previous sink is released here, outside the lock.
    }

private:
    Mutex mutex_;
    std::shared_ptr<Sink> sink_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::QuviewDFX
