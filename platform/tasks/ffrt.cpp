// Implements task attributes, general tasks, ffrt_wait and asynchronous calls. Queues: ffrt_queue.cpp. Mutex and
// condition variable: ffrt_sync.cpp.
#include "platform/tasks/ffrt.h"

#include <atomic>
#include <exception>
#include <utility>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt_function.h"

// Counts the unfinished tasks that one thread, or one running task, has submitted. These tasks also own the object,
// because the thread may end before them.
class WaitContext {
public:
    void Add() { unfinished_.fetch_add(1, std::memory_order_relaxed); }

    void Finish() EXCLUDES(mutex_)
    {
        if (unfinished_.fetch_sub(1, std::memory_order_acq_rel) > 1) {
            return;
        }
        {
            // A waiter reads the count while it holds this lock. So when this thread has the lock, a waiter that read
            // the old count is already blocked, and NotifyOne wakes that waiter.
            const Vexo::MutexLock lock(mutex_);
        }
        finished_.NotifyOne();  // at most one thread waits for a context
    }

    void Wait() EXCLUDES(mutex_)
    {
        if (unfinished_.load(std::memory_order_acquire) == 0) {
            return;
        }
        const Vexo::MutexLock lock(mutex_);
        while (unfinished_.load(std::memory_order_acquire) > 0) {
            finished_.Wait(mutex_);
        }
    }

private:
    std::atomic<size_t> unfinished_{0};
    Vexo::Mutex mutex_;
    Vexo::CondVar finished_;
};

namespace {

constexpr Vexo::QuviewDFX::LogLabel LABEL{Vexo::QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};

// The context of this thread, or of the task that runs on this thread. The first submission creates it, because most
// tasks submit nothing.
thread_local std::shared_ptr<WaitContext> t_context;

const std::shared_ptr<WaitContext>& CurrentContext()
{
    if (!t_context) {
        t_context = std::make_shared<WaitContext>();
    }
    return t_context;
}

// The pool calls this function after the task has ended: Start passes it to ElasticPool::Post as "finished".
void Finish(ffrt_function_t* ended)
{
    const std::unique_ptr<ffrt_function_t> function(ended);
    if (function->context) {
        function->context->Finish();
    }
}

// Takes ownership of the function and posts it. Returns false if the runtime refuses the function, which is then
// destroyed. The lambdas capture a raw pointer, because that fits into std::function without an allocation. The pool
// runs each of the two lambdas exactly once.
bool Start(std::unique_ptr<ffrt_function_t> function)
{
    ffrt_function_t* const raw = function.get();
    if (!RuntimePool().Post([raw] { raw->Run(); }, [raw] { Finish(raw); })) {
        return false;
    }
    (void)function.release();
    return true;
}

}  // namespace

void ffrt_function_t::Run()
{
    Vexo::QuviewDFX::RunGuarded(
        LABEL, [this] { return "task " + name; }, callable);
    callable = nullptr;
    Vexo::QuviewDFX::EndTaskSpans();
    t_context = nullptr;  // the next task on this worker gets its own context
}

Vexo::Tasks::ElasticPool& RuntimePool()
{
    static Vexo::NeverDestroyed<Vexo::Tasks::ElasticPool> pool("ffrt");
    return pool.value;
}

void ffrt_task_attr_init(ffrt_task_attr_t* attr)
{
    if (attr != nullptr) {
        *attr = {};
    }
}

void ffrt_task_attr_destroy(ffrt_task_attr_t* attr)
{
    ffrt_task_attr_init(attr);
}

void ffrt_task_attr_set_name(ffrt_task_attr_t* attr, const char* name)
{
    if (attr != nullptr && name != nullptr) {
        attr->name = name;
    }
}

void ffrt_task_attr_set_delay(ffrt_task_attr_t* attr, uint64_t delay_us)
{
    if (attr != nullptr) {
        attr->delay_us = delay_us;
    }
}

void ffrt_submit(ffrt_function_t* function, const ffrt_task_attr_t* attr)
{
    if (function == nullptr) {
        return;
    }
    std::unique_ptr<ffrt_function_t> owned(function);
    if (attr != nullptr) {
        owned->name = attr->name;
    }
    const std::shared_ptr<WaitContext>& context = CurrentContext();
    owned->context = context;
    context->Add();
    if (!Start(std::move(owned))) {
        context->Finish();
    }
}

void ffrt_wait()
{
    if (t_context) {
        t_context->Wait();
    }
}

namespace ffrt {

ffrt_function_t* create_function_wrapper(const std::function<void()>& callable, ffrt_function_kind_t /*kind*/)
{
    return std::make_unique<ffrt_function_t>(callable).release();
}

// The state of one asynchronous call. The task and the future own this object together.
class async_state {
public:
    async_state()
    {
        ffrt_mutex_init(&mutex_, nullptr);
        ffrt_cond_init(&ready_, nullptr);
    }
    ~async_state()
    {
        ffrt_cond_destroy(&ready_);
        ffrt_mutex_destroy(&mutex_);
    }
    async_state(const async_state&) = delete;
    async_state& operator=(const async_state&) = delete;

    void complete()
    {
        ffrt_mutex_lock(&mutex_);
        isReady_ = true;
        ffrt_cond_broadcast(&ready_);
        ffrt_mutex_unlock(&mutex_);
    }

    bool wait_until(Vexo::SteadyTime deadline)
    {
        ffrt_mutex_lock(&mutex_);
        while (!isReady_ && ffrt_cond_timedwait(&ready_, &mutex_, deadline) != ffrt_error_timedout) {
        }
        const bool ready = isReady_;  // also true if the call ended exactly at the deadline
        ffrt_mutex_unlock(&mutex_);
        return ready;
    }

private:
    ffrt_mutex_t mutex_;
    ffrt_cond_t ready_;
    bool isReady_ = false;
};

future::future(std::shared_ptr<async_state> state) : state_(std::move(state)) {}

future_status future::wait_for(std::chrono::nanoseconds timeout) const
{
    return state_->wait_until(Vexo::Clock::System().Now() + timeout) ? future_status::ready : future_status::timeout;
}

future async(const std::function<void()>& callable)
{
    auto state = std::make_shared<async_state>();
    const auto function = std::make_shared<ffrt_function_t>(callable);
    function->name = "thread";
    // If the runtime is full, nothing runs and the future times out.
    (void)RuntimePool().Post([function] { function->Run(); }, [state] { state->complete(); });
    return future(state);
}

}  // namespace ffrt
