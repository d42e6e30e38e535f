// ChangeListener: stores one function and calls it after each change. The owner of the ChangeListener reports a change
// with Notify. Thread-safe.
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

    // Replaces the stored function. An empty function ends the calls: Set then returns when no call runs any more. If
    // the stored function itself calls Set, Set does not wait.
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
    // Posts a call of the stored function to a thread of the shared pool. Calls run one at a time. Does not wait for a
    // call.
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
