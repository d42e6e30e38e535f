// FFRTUtils: submits functions as named tasks of the task runtime (platform/tasks/ffrt.h), and wraps the runtime's
// mutex and condition variable in classes. Threads and tasks may call the static functions. Each static function copies
// the submitted function, and the runtime calls the copy once. Tasks outside a queue run in no fixed order. If the
// runtime refuses a task, the task does not run, and most functions do not report that.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/tasks/ffrt.h"

namespace Vexo::NetManagerStandard {

class FFRTUtils {
public:
    class Mutex;
    class ConditionVariable;

    // Submits a task and returns at once.
    static void SubmitTask(const std::function<void()>& func);
    // Submits a task. Blocks until this task and all earlier tasks of the calling thread or task have finished.
    static void SubmitTaskSync(const std::function<void()>& func);
    // Runs func as a task and waits at most timeoutMs for its end. Returns true if the task has finished in this time.
    // Otherwise the task continues, and everything that the task refers to must live until the task has finished.
    static bool SubmitTimeoutTask(const std::function<void()>& func, uint32_t timeoutMs);
    // Queues a task that runs after delayMs. Returns an empty handle if the runtime refuses the task.
    static ffrt::task_handle SubmitDelayTask(std::function<void()>& func, uint32_t delayMs, ffrt::queue& queue);
    // Adds the tasks to the queue in the order of the vector.
    static void SubmitQueueTasks(const std::vector<std::function<void()>>& funcs, ffrt::queue& queue);
    // Returns 0 if the task had not started and will never run. Otherwise returns the code of the runtime.
    static int CancelTask(ffrt::task_handle& handle, ffrt::queue& queue);
};

// Wraps the runtime's mutex. Tasks and threads may lock the mutex. The destructor does not free the memory of the
// runtime's mutex, so use this class only in objects that live as long as the process. After destruction every
// operation does nothing.
class FFRTUtils::Mutex : public NoCopyable {
public:
    Mutex();
    ~Mutex();

    void Lock();     // blocks
    bool TryLock();  // returns true if it has locked the mutex
    void Unlock();

private:
    // volatile makes the compiler keep the destructor's write to this pointer.
    ffrt_mutex_t* volatile mutex_ = nullptr;
};

// Wraps the runtime's condition variable, but offers no wait operation. The destructor does not free the memory of the
// runtime's condition variable.
class FFRTUtils::ConditionVariable : public NoCopyable {
public:
    ConditionVariable();
    ~ConditionVariable();

    void NotifyOne();
    void NotifyAll();

private:
    ffrt_cond_t* volatile cond_ = nullptr;
};

}  // namespace Vexo::NetManagerStandard
