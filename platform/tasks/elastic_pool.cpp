#include "platform/tasks/elastic_pool.h"

#include <pthread.h>

#include <deque>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/dfx/log.h"

namespace Vexo::Tasks {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};
constexpr size_t MAX_THREAD_NAME = 15;  // pthread_setname_np(3)

void RunGuarded(const Work& work)
{
    try {
        work();
    } catch (const std::exception& exception) {
        QuviewDFX::LogError(LABEL, "work ended by an exception: %{public}s", exception.what());
    } catch (...) {
        QuviewDFX::LogError(LABEL, "work ended by an exception of unknown type");
    }
}

}  // namespace

// Work goes straight to an idle worker, or to a new one, and waits in the queue only when there may be no more threads.
// So work never waits behind a blocked worker below the limit.
class ElasticPool::State : public std::enable_shared_from_this<State> {
public:
    State(std::string name, size_t maxThreads) : name_(name.substr(0, MAX_THREAD_NAME)), maxThreads_(maxThreads) {}

    bool Post(Work work) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        if (!idle_.empty()) {
            const std::shared_ptr<Worker> worker = std::move(idle_.back());
            idle_.pop_back();
            worker->work = std::move(work);
            lock.Unlock();
            worker->handed.NotifyOne();
            return true;
        }
        if (threads_ < maxThreads_ && StartWorker(work)) {
            return true;
        }
        if (threads_ == 0 || queue_.size() >= MAX_POOL_QUEUE) {
            return false;
        }
        queue_.push_back(std::move(work));
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
        MutexLock lock(mutex_);
        closing_ = true;
        for (const auto& worker : idle_) {
            worker->handed.NotifyOne();
        }
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
        Work work;  // handed over under mutex_; empty while idle
        CondVar handed;
    };

    bool StartWorker(Work& work) REQUIRES(mutex_)
    {
        auto worker = std::make_shared<Worker>();
        worker->work = std::move(work);
        try {
            std::thread([state = shared_from_this(), worker] { state->Run(worker); }).detach();
        } catch (const std::system_error&) {
            work = std::move(worker->work);
            return false;
        }
        ++threads_;
        return true;
    }

    void Run(const std::shared_ptr<Worker>& worker) EXCLUDES(mutex_)
    {
        pthread_setname_np(pthread_self(), name_.c_str());
        Work work = std::exchange(worker->work, nullptr);
        while (work) {
            RunGuarded(work);
            work = nullptr;
            work = Next(worker);
        }
        const MutexLock lock(mutex_);
        --threads_;
        gone_.NotifyAll();
    }

    // The next work, or none when this worker is to go.
    Work Next(const std::shared_ptr<Worker>& worker) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        if (!queue_.empty()) {
            Work work = std::move(queue_.front());
            queue_.pop_front();
            return work;
        }
        warned_ = false;
        if (closing_) {
            return nullptr;
        }
        idle_.push_back(worker);
        const auto deadline = std::chrono::steady_clock::now() + POOL_THREAD_IDLE_LIMIT;
        while (!worker->work) {
            const bool inTime = worker->handed.WaitUntil(mutex_, deadline);
            if (!worker->work && (!inTime || closing_)) {
                std::erase(idle_, worker);
                return nullptr;
            }
        }
        return std::exchange(worker->work, nullptr);
    }

    const std::string name_;
    const size_t maxThreads_;
    Mutex mutex_;
    std::deque<Work> queue_ GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Worker>> idle_ GUARDED_BY(mutex_);  // the most recently idle last
    size_t threads_ GUARDED_BY(mutex_) = 0;
    bool closing_ GUARDED_BY(mutex_) = false;
    bool warned_ GUARDED_BY(mutex_) = false;
    CondVar gone_;
};

ElasticPool::ElasticPool(std::string name, size_t maxThreads)
    : state_(std::make_shared<State>(std::move(name), maxThreads))
{
}

ElasticPool::~ElasticPool()
{
    state_->Close();
}

bool ElasticPool::Post(Work work)
{
    return state_->Post(std::move(work));
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
    // Never destroyed: its workers may run until the process is gone.
    static auto* const pool = new ElasticPool("platform");  // NOLINT(cppcoreguidelines-owning-memory)
    return *pool;
}

class Strand::State : public std::enable_shared_from_this<State> {
public:
    explicit State(ElasticPool& pool) : pool_(pool) {}

    bool Post(Work work) EXCLUDES(mutex_)
    {
        {
            const MutexLock lock(mutex_);
            queue_.push_back(std::move(work));
            if (active_) {
                return true;
            }
            active_ = true;
        }
        if (pool_.Post([state = shared_from_this()] { state->Run(); })) {
            return true;
        }
        const MutexLock lock(mutex_);
        active_ = false;
        queue_.clear();
        drained_.NotifyAll();
        return false;
    }

    void Drain() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        while (active_) {
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
            RunGuarded(work);
            work = nullptr;  // what it holds may post here again
            lock.Lock();
        }
        running_ = {};
        active_ = false;
        drained_.NotifyAll();
    }

    ElasticPool& pool_;
    Mutex mutex_;
    std::deque<Work> queue_ GUARDED_BY(mutex_);
    bool active_ GUARDED_BY(mutex_) = false;
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
    state_->Drain();
}

bool Strand::RunsOnThisThread() const
{
    return state_->RunsOnThisThread();
}

}  // namespace Vexo::Tasks
