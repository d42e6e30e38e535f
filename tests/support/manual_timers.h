// ManualTimers: timers and a clock that stand still until the test calls Advance(). Work that becomes due runs on the
// thread that calls Advance(), in the order of due times. The thread pool for which the work was meant is not used. Any
// thread may arm and cancel timers.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/tasks/timers.h"

namespace Vexo::Tests {

class ManualTimers : public Tasks::Timers {
public:
    SteadyTime Now() const override EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return now_;
    }
    WallTime WallNow() const override EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return WallTime(std::chrono::years(50) +
                        std::chrono::duration_cast<WallTime::duration>(now_.time_since_epoch()));
    }

    // Advances the clock step by step. At each due time, the clock stands still while the work that is due runs.
    void Advance(std::chrono::microseconds by) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        const SteadyTime end = now_ + by;
        for (std::optional<SteadyTime> due = queue_.NextDue(); due && *due <= end; due = queue_.NextDue()) {
            now_ = std::max(now_, *due);
            std::optional<Tasks::Work> work = queue_.TakeDue(now_);
            lock.Unlock();
            (*work)();
            work.reset();
            lock.Lock();
        }
        now_ = end;
    }

private:
    Tasks::DuePlace Arm(std::chrono::microseconds delay, Tasks::Work work, Tasks::ElasticPool* /*pool*/) override
        EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return queue_.Add(Tasks::DueAfter(now_, delay), std::move(work));
    }
    bool Cancel(const Tasks::DuePlace& place) override EXCLUDES(mutex_)
    {
        std::optional<Tasks::Work> dropped;
        const MutexLock lock(mutex_);
        dropped = queue_.Remove(place);
        return dropped.has_value();
    }

    mutable Mutex mutex_;
    SteadyTime now_ GUARDED_BY(mutex_){std::chrono::hours(1)};
    Tasks::DueQueue<Tasks::Work> queue_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Tests
