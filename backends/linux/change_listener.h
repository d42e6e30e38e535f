// ChangeListener: the one function that an owner calls when something has changed, as the SetListener of the platform's
// interfaces promises it. Any thread may use it.
#pragma once

#include <functional>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

class ChangeListener : public NoCopyable {
public:
    ~ChangeListener() { strand_.Drain(); }

    // An empty function ends the calls, and returns when no call runs any more.
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
    // The function is called soon, on a strand of its own. Does not block.
    void Tell()
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

}  // namespace Vexo::Linux
