// ChangeListener: one function that is called after each change, on a strand of its own and without a lock. Any thread.
#pragma once

#include <functional>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Simulated {

class ChangeListener : public NoCopyable {
public:
    ~ChangeListener() { Set({}); }

    // Replaces the function. An empty one ends the calls, and returns when none runs any more; not from the function.
    void Set(std::function<void()> changed)
    {
        const bool isEnd = !changed;
        {
            const MutexLock lock(mutex_);
            changed_ = std::move(changed);
        }
        if (isEnd) {
            strand_.Drain();
        }
    }
    // Does not block.
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
    Tasks::Strand strand_;  // own synchronisation
};

}  // namespace Vexo::Simulated
