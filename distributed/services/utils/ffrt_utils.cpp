#include "distributed/services/utils/ffrt_utils.h"

#include <chrono>

namespace Vexo::NetManagerStandard {
namespace {

constexpr uint64_t MICROSECONDS_PER_MILLISECOND = 1000;

// Owns the attributes of one submitted task.
class TaskAttributes : public NoCopyable {
public:
    explicit TaskAttributes(const char* name)
    {
        ffrt_task_attr_init(&attr_);
        ffrt_task_attr_set_name(&attr_, name);
    }
    ~TaskAttributes() { ffrt_task_attr_destroy(&attr_); }

    void SetDelay(uint64_t delayUs) { ffrt_task_attr_set_delay(&attr_, delayUs); }
    const ffrt_task_attr_t* Get() const { return &attr_; }

private:
    ffrt_task_attr_t attr_;
};

void SubmitGeneral(const std::function<void()>& func, const char* name)
{
    const TaskAttributes attributes(name);
    ffrt_submit(ffrt::create_function_wrapper(func, ffrt_function_kind_general), attributes.Get());
}

}  // namespace

void FFRTUtils::SubmitTask(const std::function<void()>& func)
{
    SubmitGeneral(func, "SubmitTask");
}

void FFRTUtils::SubmitTaskSync(const std::function<void()>& func)
{
    SubmitGeneral(func, "SubmitTaskSync");
    ffrt_wait();
}

bool FFRTUtils::SubmitTimeoutTask(const std::function<void()>& func, uint32_t timeoutMs)
{
    const ffrt::future completion = ffrt::async(func);
    return completion.wait_for(std::chrono::milliseconds(timeoutMs)) == ffrt::future_status::ready;
}

ffrt::task_handle FFRTUtils::SubmitDelayTask(std::function<void()>& func, uint32_t delayMs, ffrt::queue& queue)
{
    TaskAttributes attributes("SubmitDelayTask");
    attributes.SetDelay(static_cast<uint64_t>(delayMs) * MICROSECONDS_PER_MILLISECOND);
    return ffrt_queue_submit_h(queue, ffrt::create_function_wrapper(func, ffrt_function_kind_queue), attributes.Get());
}

void FFRTUtils::SubmitQueueTasks(const std::vector<std::function<void()>>& funcs, ffrt::queue& queue)
{
    for (const std::function<void()>& func : funcs) {
        const TaskAttributes attributes("SubmitQueueTasks");
        ffrt_queue_submit(queue, ffrt::create_function_wrapper(func, ffrt_function_kind_queue), attributes.Get());
    }
}

int FFRTUtils::CancelTask(ffrt::task_handle& handle, ffrt::queue& queue)
{
    return ffrt_queue_cancel(queue, handle);
}

FFRTUtils::Mutex::Mutex() : mutex_(new ffrt_mutex_t)
{
    ffrt_mutex_init(mutex_, nullptr);
}

FFRTUtils::Mutex::~Mutex()
{
    mutex_ = nullptr;
}

void FFRTUtils::Mutex::Lock()
{
    if (mutex_ != nullptr) {
        ffrt_mutex_lock(mutex_);
    }
}

bool FFRTUtils::Mutex::TryLock()
{
    return mutex_ != nullptr && ffrt_mutex_trylock(mutex_) == ffrt_success;
}

void FFRTUtils::Mutex::Unlock()
{
    if (mutex_ != nullptr) {
        ffrt_mutex_unlock(mutex_);
    }
}

FFRTUtils::ConditionVariable::ConditionVariable() : cond_(new ffrt_cond_t)
{
    ffrt_cond_init(cond_, nullptr);
}

FFRTUtils::ConditionVariable::~ConditionVariable()
{
    cond_ = nullptr;
}

void FFRTUtils::ConditionVariable::NotifyOne()
{
    if (cond_ != nullptr) {
        ffrt_cond_signal(cond_);
    }
}

void FFRTUtils::ConditionVariable::NotifyAll()
{
    if (cond_ != nullptr) {
        ffrt_cond_broadcast(cond_);
    }
}

}  // namespace Vexo::NetManagerStandard
