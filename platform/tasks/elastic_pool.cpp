#include "platform/tasks/elastic_pool.h"

#include <pthread.h>

#include <deque>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/check.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/dfx/guard.h"
#include "platform/tasks/timers.h"

namespace Vexo::Tasks {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};
constexpr const char* WORK = "work";    // names posted work in log lines
constexpr size_t MAX_THREAD_NAME = 15;  // pthread_setname_np(3)

struct Job {
    Work work;
    Work finished;  // may be empty
};

}  // namespace

bool StartDetachedThread(Work run)
{
    try {
        std::thread(std::move(run)).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

// The state of a pool. All work goes through the queue. One worker at a time is called to the queue: an idle worker is
// woken, or a new one is started. The worker that arrives takes the first work and calls the next worker before it runs
// that work. Many posts at once therefore cost few wake-ups, and below the thread limit work never waits for a blocked
// worker. Whenever the queue is not empty, either a called worker is on its way, or all threads are busy and no further
// thread can be started.
class ElasticPool::State : public std::enable_shared_from_this<State> {
public:
    State(const std::string& name, size_t maxThreads, ThreadStarter startThread)
        : name_(name.substr(0, MAX_THREAD_NAME)), maxThreads_(maxThreads), startThread_(std::move(startThread))
    {
    }

    bool Post(Job job) EXCLUDES(mutex_)
    {
        if (!job.work) {
            return false;
        }
        MutexLock lock(mutex_);
        // No worker runs yet, but another call of Post is starting a thread. Wait until the system has started or
        // refused this thread, because refused work must not stay in the queue.
        while (idle_.empty() && starting_ > 0 && starting_ == threads_) {
            startEnded_.Wait(mutex_);
        }
        if (queue_.size() >= MAX_POOL_QUEUE) {
            return false;
        }
        queue_.push_back(std::move(job));
        const Call call = CallWorker();
        if (threads_ == 0) {  // the system has refused even the first thread, so only this work is queued
            job = std::move(queue_.back());
            queue_.pop_back();
            return false;
        }
        lock.Unlock();
        Finish(call);
        return true;
    }

    // Ends the idle workers and blocks until all workers have ended.
    void Close() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        closing_ = true;
        for (const auto& worker : idle_) {
            Retire(*worker);
        }
        idle_.clear();
        while (threads_ > 0) {
            gone_.Wait(mutex_);
        }
    }

    size_t ThreadCount() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return threads_;
    }

    size_t QueuedCount() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return queue_.size();
    }

private:
    struct Worker {
        bool called = true;  // guarded by mutex_; a new worker is called when it is started
        bool leave = false;  // guarded by mutex_
        SteadyTime idleSince;
        CondVar wake;
    };

    // The steps that CallWorker leaves to Finish, which runs after the lock is released.
    struct Call {
        std::shared_ptr<Worker> woken;  // the worker to wake; null: none
        size_t busyThreads = 0;         // the number of threads in the warning that all are busy; 0: no warning
    };

    // Calls a worker to the queue if work is queued and no called worker is still on its way.
    Call CallWorker() REQUIRES(mutex_)
    {
        Call call;
        if (queue_.empty() || arriving_ > 0) {
            return call;
        }
        if (!idle_.empty()) {
            call.woken = std::move(idle_.back());
            idle_.pop_back();
            call.woken->called = true;
            ++arriving_;
        } else if ((threads_ >= maxThreads_ || !StartWorker()) && threads_ > 0 && !warned_) {
            warned_ = true;
            call.busyThreads = threads_;
        }
        return call;
    }

    void Finish(const Call& call) const EXCLUDES(mutex_)
    {
        if (call.woken) {
            call.woken->wake.NotifyOne();
        }
        if (call.busyThreads > 0) {
            QuviewDFX::LogWarn(LABEL, "all %{public}u threads of pool %{public}s are busy; work waits",
                               static_cast<uint32_t>(call.busyThreads), name_);
        }
    }

    // Starts a worker, which counts as called. Returns false if the system refuses a thread. Releases the lock while
    // the thread starts, because that takes long.
    bool StartWorker() REQUIRES(mutex_)
    {
        const auto worker = std::make_shared<Worker>();
        ++threads_;
        ++starting_;
        ++arriving_;
        mutex_.unlock();
        const bool started = startThread_([state = shared_from_this(), worker] { state->Run(worker); });
        mutex_.lock();
        --starting_;
        if (!started) {
            --threads_;
            --arriving_;
            gone_.NotifyAll();
        }
        startEnded_.NotifyAll();
        return started;
    }

    void Run(const std::shared_ptr<Worker>& worker) EXCLUDES(mutex_)
    {
        pthread_setname_np(pthread_self(), name_.c_str());
        Job job = Next(worker, nullptr);
        while (job.work) {
            QuviewDFX::RunGuarded(LABEL, WORK, job.work);
            job.work = nullptr;
            job = Next(worker, std::exchange(job.finished, nullptr));
        }
    }

    // Waits for the worker's next job and returns this job. Returns an empty job if the worker must end. finished: the
    // function to call after the previous job (ElasticPool::Post); may be empty.
    Job Next(const std::shared_ptr<Worker>& worker, Work finished) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        if (std::exchange(worker->called, false)) {
            --arriving_;
        }
        while (queue_.empty()) {
            const bool closing = closing_;
            if (!closing) {
                worker->idleSince = Clock::System().Now();
                idle_.push_back(worker);
                ArmTrim();
            }
            if (finished) {
                lock.Unlock();
                finished();
                finished = nullptr;
                lock.Lock();
            }
            if (closing) {
                Retire(*worker);
                return {};
            }
            // Waits without a time-out, because with a time-out the kernel sets and removes a timer at every wait. Trim
            // ends idle workers.
            while (!worker->called && !worker->leave) {
                worker->wake.Wait(mutex_);
            }
            if (worker->leave) {
                return {};
            }
            worker->called = false;
            --arriving_;
        }
        Job next = std::move(queue_.front());
        queue_.pop_front();
        const Call call = CallWorker();
        lock.Unlock();
        Finish(call);
        if (finished) {
            finished();
        }
        return next;
    }

    // Ends the worker. threads_ is decremented here, while the lock is held, so that no job is queued for a worker that
    // is about to end.
    void Retire(Worker& worker) REQUIRES(mutex_)
    {
        worker.leave = true;
        worker.wake.NotifyOne();
        --threads_;
        gone_.NotifyAll();
    }

    void ArmTrim() REQUIRES(mutex_)
    {
        if (trimArmed_ || idle_.empty()) {
            return;
        }
        const auto left = idle_.front()->idleSince + POOL_THREAD_IDLE_LIMIT - Clock::System().Now();
        Timer trim =
            Timers::System().CallAfter(std::chrono::ceil<std::chrono::microseconds>(left), [weak = weak_from_this()] {
                if (const auto state = weak.lock()) {
                    state->Trim();
                }
            });
        trimArmed_ = trim.IsArmed();
        trim.Detach();  // if the pool is destroyed first, the timer does nothing
    }

    // Ends workers that have been idle for too long. Runs on the timer thread.
    void Trim() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        trimArmed_ = false;
        const SteadyTime limit = Clock::System().Now() - POOL_THREAD_IDLE_LIMIT;
        auto kept = idle_.begin();
        for (; kept != idle_.end() && (*kept)->idleSince <= limit; ++kept) {
            Retire(**kept);
            warned_ = false;  // the load has fallen, so a later overload causes a new warning
        }
        idle_.erase(idle_.begin(), kept);
        ArmTrim();
    }

    const std::string name_;
    const size_t maxThreads_;
    const ThreadStarter startThread_;
    Mutex mutex_;
    std::deque<Job> queue_ GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Worker>> idle_ GUARDED_BY(mutex_);  // the worker that was idle longest comes first
    size_t threads_ GUARDED_BY(mutex_) = 0;                         // including threads that are being started
    size_t starting_ GUARDED_BY(mutex_) = 0;                        // threads that are being started
    size_t arriving_ GUARDED_BY(mutex_) = 0;                        // called workers that have not arrived; 0 or 1
    bool closing_ GUARDED_BY(mutex_) = false;
    bool trimArmed_ GUARDED_BY(mutex_) = false;
    bool warned_ GUARDED_BY(mutex_) = false;
    CondVar gone_;
    CondVar startEnded_;
};

ElasticPool::ElasticPool(const std::string& name, size_t maxThreads, ThreadStarter startThread)
    : state_(std::make_shared<State>(name, maxThreads, std::move(startThread)))
{
}

ElasticPool::~ElasticPool()
{
    state_->Close();
}

bool ElasticPool::Post(Work work, Work finished)
{
    return state_->Post({std::move(work), std::move(finished)});
}

size_t ElasticPool::ThreadCount() const
{
    return state_->ThreadCount();
}

size_t ElasticPool::QueuedCount() const
{
    return state_->QueuedCount();
}

ElasticPool& ElasticPool::Shared()
{
    static NeverDestroyed<ElasticPool> pool("platform");
    return pool.value;
}

class Strand::State : public std::enable_shared_from_this<State> {
public:
    explicit State(ElasticPool& pool) : pool_(pool) {}

    bool Post(Work work) EXCLUDES(mutex_)
    {
        Work refused;  // destroyed after the lock is released
        const MutexLock lock(mutex_);
        queue_.push_back(std::move(work));
        ++posted_;
        if (active_) {
            return true;
        }
        // The lock is held during Post, so that no thread can queue work behind work that the pool then refuses.
        active_ = pool_.Post([state = shared_from_this()] { state->Run(); });
        if (!active_) {
            refused = std::move(queue_.back());
            queue_.pop_back();
            --posted_;
        }
        return active_;
    }

    void Drain() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        const uint64_t last = posted_;
        while (ran_ < last) {
            drained_.Wait(mutex_);
        }
    }

    bool RunsOnThisThread() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return running_ == std::this_thread::get_id();
    }

private:
    void Run() EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        running_ = std::this_thread::get_id();
        while (!queue_.empty()) {
            Work work = std::move(queue_.front());
            queue_.pop_front();
            lock.Unlock();
            QuviewDFX::RunGuarded(LABEL, WORK, work);
            work = nullptr;  // destroyed without the lock, because its destructor may post here
            lock.Lock();
            ++ran_;
            drained_.NotifyAll();
        }
        running_ = {};
        active_ = false;
    }

    ElasticPool& pool_;
    Mutex mutex_;
    std::deque<Work> queue_ GUARDED_BY(mutex_);
    bool active_ GUARDED_BY(mutex_) = false;
    uint64_t posted_ GUARDED_BY(mutex_) = 0;
    uint64_t ran_ GUARDED_BY(mutex_) = 0;
    std::thread::id running_ GUARDED_BY(mutex_);
    CondVar drained_;
};

Strand::Strand(ElasticPool& pool) : state_(std::make_shared<State>(pool)) {}

Strand::~Strand() = default;

bool Strand::Post(Work work)
{
    return state_->Post(std::move(work));
}

void Strand::Drain()
{
    DISTNET_ASSERT(!RunsOnThisThread(), "work of a strand does not wait for the strand");
    state_->Drain();
}

bool Strand::RunsOnThisThread() const
{
    return state_->RunsOnThisThread();
}

}  // namespace Vexo::Tasks
