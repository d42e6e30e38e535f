#include "platform/tasks/timers.h"

#include <pthread.h>
#include <sys/prctl.h>

#include <optional>
#include <system_error>
#include <thread>

#include "platform/base/check.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/dfx/log.h"

namespace Vexo::Tasks {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};

class TimerThread : public Timers {
public:
    SteadyTime Now() const override { return Clock::System().Now(); }
    WallTime WallNow() const override { return Clock::System().WallNow(); }

private:
    struct Entry {
        Work work;
        ElasticPool* pool = nullptr;  // null: the work runs on the timer thread
    };

    DuePlace Arm(std::chrono::microseconds delay, Work work, ElasticPool* pool) override EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        if (!running_ && !Start()) {
            return {};
        }
        const SteadyTime due = DueAfter(Now(), delay);
        const std::optional<SteadyTime> first = queue_.NextDue();
        const DuePlace place = queue_.Add(due, {std::move(work), pool});
        if (!first || due < *first) {
            changed_.NotifyOne();
        }
        return place;
    }

    bool Cancel(const DuePlace& place) override EXCLUDES(mutex_)
    {
        std::optional<Entry> dropped;  // destroyed after the lock is released, because its destructor may cancel timers
        const MutexLock lock(mutex_);
        dropped = queue_.Remove(place);
        return dropped.has_value();
    }

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
        // By default the kernel may wake a thread up to 50 µs late, so that wake-ups of several threads coincide. Here
        // the delay saves no wake-ups, because this thread alone waits for all timers of the process.
        ::prctl(PR_SET_TIMERSLACK, 1UL);
        MutexLock lock(mutex_);
        for (;;) {
            if (std::optional<Entry> entry = queue_.TakeDue(Now())) {
                lock.Unlock();
                Fire(std::move(*entry));
                entry.reset();
                lock.Lock();
            } else if (const std::optional<SteadyTime> next = queue_.NextDue()) {
                changed_.WaitUntil(mutex_, *next);
            } else {
                changed_.Wait(mutex_);
            }
        }
    }

    Mutex mutex_;
    CondVar changed_;
    DueQueue<Entry> queue_ GUARDED_BY(mutex_);
    bool running_ GUARDED_BY(mutex_) = false;
};

}  // namespace

Timer& Timer::operator=(Timer&& other) noexcept
{
    if (this != &other) {
        Cancel();
        timers_ = std::exchange(other.timers_, nullptr);
        place_ = other.place_;
    }
    return *this;
}

bool Timer::Cancel() noexcept
{
    Timers* const timers = std::exchange(timers_, nullptr);
    return timers != nullptr && timers->Cancel(place_);
}

Timer Timers::RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool)
{
    DISTNET_ASSERT(work, "a timer has work");
    if (delay.count() > 0) {
        return Wrap(Arm(delay, std::move(work), &pool));
    }
    if (!pool.Post(std::move(work))) {
        QuviewDFX::LogError(LABEL, "the pool is full: work is lost");
    }
    return {};
}

Timer Timers::CallAfter(std::chrono::microseconds delay, Work work)
{
    DISTNET_ASSERT(work, "a timer has work");
    return Wrap(Arm(delay, std::move(work), nullptr));
}

Timers& Timers::System()
{
    static NeverDestroyed<TimerThread> timers;
    return timers.value;
}

}  // namespace Vexo::Tasks
