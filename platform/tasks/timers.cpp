#include "platform/tasks/timers.h"

#include <pthread.h>

#include <map>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/base/mutex.h"

namespace Vexo::Tasks {

namespace {

using Clock = std::chrono::steady_clock;

class TimerThread {
public:
    // Never destroyed: its thread sleeps until the process is gone.
    static TimerThread& Instance()
    {
        static auto* const instance = new TimerThread;  // NOLINT(cppcoreguidelines-owning-memory)
        return *instance;
    }

    TimerId Arm(std::chrono::microseconds delay, Work work, ElasticPool& pool) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        const TimerId id = ++lastId_;
        // Capped so that a delay of centuries cannot overflow the clock.
        const Clock::time_point due = Clock::now() + std::min<std::chrono::microseconds>(delay, LONGEST_DELAY);
        const bool first = entries_.empty() || due < entries_.begin()->first.first;
        entries_.emplace(Key{due, id}, Entry{std::move(work), &pool});
        dueTimes_.emplace(id, due);
        if (!running_) {
            running_ = true;
            std::thread([this] { Run(); }).detach();
        } else if (first) {
            changed_.NotifyOne();
        }
        return id;
    }

    bool Cancel(TimerId id) EXCLUDES(mutex_)
    {
        Entry dropped;  // released after the lock
        const MutexLock lock(mutex_);
        const auto it = dueTimes_.find(id);
        if (it == dueTimes_.end()) {
            return false;
        }
        const auto entry = entries_.find(Key{it->second, id});
        dropped = std::move(entry->second);
        entries_.erase(entry);
        dueTimes_.erase(it);
        return true;
    }

private:
    static constexpr std::chrono::hours LONGEST_DELAY{24 * 365 * 10};
    using Key = std::pair<Clock::time_point, TimerId>;
    struct Entry {
        Work work;
        ElasticPool* pool = nullptr;
    };

    void Run() EXCLUDES(mutex_)
    {
        pthread_setname_np(pthread_self(), "timers");
        MutexLock lock(mutex_);
        for (;;) {
            if (entries_.empty()) {
                changed_.Wait(mutex_);
                continue;
            }
            const Key next = entries_.begin()->first;
            if (next.first > Clock::now()) {
                changed_.WaitUntil(mutex_, next.first);
                continue;
            }
            Entry entry = std::move(entries_.begin()->second);
            entries_.erase(entries_.begin());
            dueTimes_.erase(next.second);
            lock.Unlock();
            entry.pool->Post(std::move(entry.work));
            lock.Lock();
        }
    }

    Mutex mutex_;
    CondVar changed_;
    std::map<Key, Entry> entries_ GUARDED_BY(mutex_);  // the next due first
    std::unordered_map<TimerId, Clock::time_point> dueTimes_ GUARDED_BY(mutex_);
    TimerId lastId_ GUARDED_BY(mutex_) = 0;
    bool running_ GUARDED_BY(mutex_) = false;
};

}  // namespace

TimerId RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool)
{
    return TimerThread::Instance().Arm(delay, std::move(work), pool);
}

bool CancelTimer(TimerId id)
{
    return TimerThread::Instance().Cancel(id);
}

}  // namespace Vexo::Tasks
