// ChangeListener: stores one function, which it calls after each change that its owner reports (Notify). Any thread.
#pragma once

#include <functional>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Tasks {

class ChangeListener : public NoCopyable {
public:
    ~ChangeListener() { strand_.Drain(); }

    // Replaces the function. An empty one ends the calls: when Set returns, no call runs any more, unless Set was
    // called by the function itself.
    void Set(std::function<void()> changed)
    {
        const bool isEnd = !changed;
        {
            const MutexLock lock(mutex_);
            changed_ = std::move(changed);
        }
        if (isEnd && !strand_.RunsOnThisThread()) {
            strand_.Drain();
        }
    }
    // Posts a call of the function to a thread of the pool. One call runs at a time. Does not block.
    void Notify()
    {
        strand_.Post([this] {
            std::function<void()> changed;
            {
                const MutexLock lock(mutex_);
                changed = changed_;
            }
            if (changed) {
                changed();
            }
        });
    }

private:
    Mutex mutex_;
    std::function<void()> changed_ GUARDED_BY(mutex_);
    Strand strand_;  // own synchronisation
};

}  // namespace Vexo::Tasks
