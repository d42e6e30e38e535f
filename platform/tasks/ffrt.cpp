// Task attributes, general tasks and the wait for them; asynchronous calls. Queues: ffrt_queue.cpp; mutex:
// ffrt_sync.cpp.
#include "platform/tasks/ffrt.h"

#include <utility>

#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt_function.h"

namespace {

// What ffrt_wait waits for: the unfinished tasks of one thread, or of one running task. Shared with those tasks, since
// a thread may end before them.
class WaitContext {
public:
    void Add()
    {
        const Vexo::MutexLock lock(mutex_);
        ++unfinished_;
    }

    void Finish()
    {
        Vexo::MutexLock lock(mutex_);
        if (--unfinished_ == 0) {
            finished_.NotifyAll();
        }
    }

    void Wait()
    {
        const Vexo::MutexLock lock(mutex_);
        while (unfinished_ > 0) {
            finished_.Wait(mutex_);
        }
    }

private:
    Vexo::Mutex mutex_;
    Vexo::CondVar finished_;
    size_t unfinished_ GUARDED_BY(mutex_) = 0;
};

// Made when the context first submits: most tasks submit nothing.
thread_local std::shared_ptr<WaitContext> t_context;

const std::shared_ptr<WaitContext>& CurrentContext()
{
    if (!t_context) {
        t_context = std::make_shared<WaitContext>();
    }
    return t_context;
}

Vexo::Tasks::ElasticPool& Pool()
{
    // Never destroyed: tasks may run until the process is gone.
    static auto* const pool = new Vexo::Tasks::ElasticPool("ffrt");  // NOLINT(cppcoreguidelines-owning-memory)
    return *pool;
}

struct GeneralTask {
    std::unique_ptr<ffrt_function_t> function;
    std::string name;
    std::shared_ptr<WaitContext> context;
};

void RunGeneralTask(GeneralTask& task)
{
    RunTaskFunction(std::move(task.function), task.name);
    task.context->Finish();
}

}  // namespace

void RunTaskFunction(std::unique_ptr<ffrt_function_t> function, const std::string& name)
{
    const std::shared_ptr<WaitContext> outer = std::exchange(t_context, nullptr);
    function->Run(name);
    function.reset();
    t_context = outer;
}

Vexo::Tasks::ElasticPool& RuntimePool()
{
    return Pool();
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
    auto task = std::make_shared<GeneralTask>();
    task->function.reset(function);
    task->name = attr != nullptr ? attr->name : "";
    task->context = CurrentContext();
    task->context->Add();
    if (!Pool().Post([task] { RunGeneralTask(*task); })) {
        task->context->Finish();
    }
}

void ffrt_wait()
{
    if (t_context) {
        t_context->Wait();
    }
}

namespace ffrt {

ffrt_function_t* create_function_wrapper(const std::function<void()>& callable, ffrt_function_kind_t kind)
{
    return std::make_unique<ffrt_function_t>(callable, kind).release();
}

// Whoever of the task and the future lets go last frees it.
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

    bool wait_until(std::chrono::steady_clock::time_point deadline)
    {
        ffrt_mutex_lock(&mutex_);
        while (!isReady_ && ffrt_cond_timedwait(&ready_, &mutex_, deadline) != ffrt_error_timedout) {
        }
        const bool ready = isReady_;  // a completion that coincides with the deadline counts
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
    return state_->wait_until(std::chrono::steady_clock::now() + timeout) ? future_status::ready
                                                                          : future_status::timeout;
}

future async(const std::function<void()>& callable)
{
    auto state = std::make_shared<async_state>();
    std::shared_ptr<ffrt_function_t> function(create_function_wrapper(callable, ffrt_function_kind_general));
    const bool accepted = Pool().Post([state, function = std::move(function)]() mutable {
        const std::shared_ptr<WaitContext> outer = std::exchange(t_context, nullptr);
        function->Run("thread");
        function.reset();
        t_context = outer;
        state->complete();
    });
    (void)accepted;  // refused by a full runtime: the future times out
    return future(state);
}

}  // namespace ffrt
