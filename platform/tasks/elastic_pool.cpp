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
constexpr const char* WORK = "work";    // what a log line calls it
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

// Work goes straight to an idle worker, or to a new one, and waits in the queue only when there may be no more threads
// or the system refuses one. So work never waits behind a blocked worker below the limit. While work is queued, at
// least one worker runs and none is idle.
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
        bool refused = false;
        if (idle_.empty() && queue_.empty() && threads_ < maxThreads_) {
            if (StartWorker(job)) {
                return true;
            }
            refused = true;
        }
        // Without a worker it shows only now, with the threads that other posts start, whether there will be one.
        while (idle_.empty() && starting_ > 0 && starting_ == threads_) {
            settled_.Wait(mutex_);
        }
        if (!idle_.empty()) {
            const std::shared_ptr<Worker> worker = std::move(idle_.back());
            idle_.pop_back();
            worker->job = std::move(job);
            lock.Unlock();
            worker->handed.NotifyOne();
            return true;
        }
        if (threads_ == 0 || queue_.size() >= MAX_POOL_QUEUE) {
            return false;
        }
        queue_.push_back(std::move(job));
        // Work that waits since the system refused a thread goes first: a new worker takes it from the queue.
        Job none;
        if (!refused && threads_ < maxThreads_ && StartWorker(none)) {
            return true;
        }
        if (!warned_) {
            warned_ = true;
            const auto threads = static_cast<uint32_t>(threads_);
            lock.Unlock();
            QuviewDFX::LogWarn(LABEL, "all %{public}u threads of pool %{public}s are busy; work waits", threads, name_);
        }
        return true;
    }

    // Lets idle workers go and waits until all have gone.
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
        Job job;             // handed over under mutex_; empty while idle
        bool leave = false;  // under mutex_
        SteadyTime idleSince;
        CondVar handed;
    };

    // Starts a worker with the job, or with none to take one from the queue. False when the system has no thread to
    // give; the job is then as it was. Lets the lock go meanwhile: it takes the kernel long.
    bool StartWorker(Job& job) REQUIRES(mutex_)
    {
        auto worker = std::make_shared<Worker>();
        worker->job = std::move(job);
        ++threads_;
        ++starting_;
        mutex_.unlock();
        const bool started = startThread_([state = shared_from_this(), worker] { state->Run(worker); });
        mutex_.lock();
        --starting_;
        if (!started) {
            job = std::move(worker->job);
            --threads_;
            gone_.NotifyAll();
        }
        settled_.NotifyAll();
        return started;
    }

    void Run(const std::shared_ptr<Worker>& worker) EXCLUDES(mutex_)
    {
        pthread_setname_np(pthread_self(), name_.c_str());
        Job job = std::exchange(worker->job, {});
        if (!job.work) {
            job = Next(worker, nullptr);
        }
        while (job.work) {
            QuviewDFX::RunGuarded(LABEL, WORK, job.work);
            job.work = nullptr;
            job = Next(worker, job.finished);
        }
    }

    // The next job, or none when this worker is to go.
    Job Next(const std::shared_ptr<Worker>& worker, const Work& finished) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        Job next;
        if (!queue_.empty()) {
            next = std::move(queue_.front());
            queue_.pop_front();
        } else if (!closing_) {
            worker->idleSince = Clock::System().Now();
            idle_.push_back(worker);
            ArmTrim();
        }
        const bool mayWait = !closing_;
        if (finished) {
            lock.Unlock();
            finished();
            lock.Lock();
        }
        if (next.work) {
            return next;
        }
        if (!mayWait) {
            Retire(*worker);
        }
        // Without a deadline, which the kernel would set and remove at every hand-over: Trim ends an idle worker.
        while (!worker->job.work && !worker->leave) {
            worker->handed.Wait(mutex_);
        }
        return std::exchange(worker->job, {});
    }

    // The worker stops counting as a thread under the lock that saw no job for it, so that no job is ever queued in the
    // belief that it will come back.
    void Retire(Worker& worker) REQUIRES(mutex_)
    {
        worker.leave = true;
        worker.handed.NotifyOne();
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
        trim.Detach();  // nothing to trim when the pool is gone by then
    }

    // Retires who has idled for long; on the timer thread.
    void Trim() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        trimArmed_ = false;
        const SteadyTime limit = Clock::System().Now() - POOL_THREAD_IDLE_LIMIT;
        auto kept = idle_.begin();
        for (; kept != idle_.end() && (*kept)->idleSince <= limit; ++kept) {
            Retire(**kept);
            warned_ = false;  // the load has fallen
        }
        idle_.erase(idle_.begin(), kept);
        ArmTrim();
    }

    const std::string name_;
    const size_t maxThreads_;
    const ThreadStarter startThread_;
    Mutex mutex_;
    std::deque<Job> queue_ GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Worker>> idle_ GUARDED_BY(mutex_);  // the longest idle first
    size_t threads_ GUARDED_BY(mutex_) = 0;                         // those that are being started included
    size_t starting_ GUARDED_BY(mutex_) = 0;  // threads that the system has neither given nor refused yet
    bool closing_ GUARDED_BY(mutex_) = false;
    bool trimArmed_ GUARDED_BY(mutex_) = false;
    bool warned_ GUARDED_BY(mutex_) = false;
    CondVar gone_;
    CondVar settled_;
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
        Work refused;  // released after the lock
        const MutexLock lock(mutex_);
        queue_.push_back(std::move(work));
        ++posted_;
        if (active_) {
            return true;
        }
        // Under the lock: nobody may post behind work that the pool then refuses.
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
            work = nullptr;  // what it holds may post here again
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
