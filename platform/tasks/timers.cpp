#include "platform/tasks/timers.h"

#include <pthread.h>

#include <algorithm>
#include <map>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/dfx/log.h"

namespace Vexo::Tasks {

namespace {

using Clock = std::chrono::steady_clock;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};

class TimerThread {
public:
    // Never destroyed: its thread sleeps until the process is gone.
    static TimerThread& Instance()
    {
        static auto* const instance = new TimerThread;  // NOLINT(cppcoreguidelines-owning-memory)
        return *instance;
    }

    TimerId Arm(std::chrono::microseconds delay, Work work, ElasticPool* pool) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        if (!running_ && !Start()) {
            return 0;
        }
        const TimerId id = ++lastId_;
        // Capped so that a delay of centuries cannot overflow the clock.
        const Clock::time_point due = Clock::now() + std::min<std::chrono::microseconds>(delay, LONGEST_DELAY);
        const bool first = entries_.empty() || due < entries_.begin()->first.first;
        entries_.emplace(Key{due, id}, Entry{std::move(work), pool});
        dueTimes_.emplace(id, due);
        if (first) {
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
        ElasticPool* pool = nullptr;  // none: the work runs here
    };

    static void Fire(Entry entry)
    {
        if (entry.pool == nullptr) {
            entry.work();
        } else if (!entry.pool->Post(std::move(entry.work))) {
            QuviewDFX::LogError(LABEL, "the pool is full: delayed work is lost");
        }
    }

    bool Start() REQUIRES(mutex_)
    {
        try {
            std::thread([this] { Run(); }).detach();
            running_ = true;
        } catch (const std::system_error& error) {
            QuviewDFX::LogError(LABEL, "no thread for timers: %{public}s", error.what());
        }
        return running_;
    }

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
            Fire(std::move(entry));
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
    if (delay.count() > 0) {
        return TimerThread::Instance().Arm(delay, std::move(work), &pool);
    }
    if (!pool.Post(std::move(work))) {
        QuviewDFX::LogError(LABEL, "the pool is full: work is lost");
    }
    return 0;
}

TimerId CallAfter(std::chrono::microseconds delay, Work work)
{
    return TimerThread::Instance().Arm(delay, std::move(work), nullptr);
}

bool CancelTimer(TimerId id)
{
    return TimerThread::Instance().Cancel(id);
}

}  // namespace Vexo::Tasks
