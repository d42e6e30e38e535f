// FFRTUtils: submits callables as named tasks of the runtime (platform/tasks/ffrt.h), and wraps the runtime's mutex and
// condition variable in classes. Static functions; any thread, also inside tasks. Each copies its callable; the runtime
// calls the copy once. Tasks outside a queue run in no fixed order. Errors are not reported: a task that the runtime
// refuses does not run.
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

    // Submits and returns at once.
    static void SubmitTask(const std::function<void()>& func);
    // Submits, and blocks until this task and all earlier tasks of the calling context have finished.
    static void SubmitTaskSync(const std::function<void()>& func);
    // Starts the callable and blocks until it has finished, for at most timeoutMs. Returns true if it has finished.
    // Otherwise it continues to run, and everything that it refers to must live until it has finished.
    static bool SubmitTimeoutTask(const std::function<void()>& func, uint32_t timeoutMs);
    // Queues a task that runs after delayMs. Returns an empty handle if the runtime refuses the task.
    static ffrt::task_handle SubmitDelayTask(std::function<void()>& func, uint32_t delayMs, ffrt::queue& queue);
    // Queues the tasks in order.
    static void SubmitQueueTasks(const std::vector<std::function<void()>>& funcs, ffrt::queue& queue);
    // Returns 0 if the task had not started and will not run; otherwise the runtime's code.
    static int CancelTask(ffrt::task_handle& handle, ffrt::queue& queue);
};

// The runtime's mutex, for tasks and threads. The destructor does not free the memory of the mutex, so that a task that
// still holds the lock can unlock it. Use it only in objects that live as long as the process. After destruction every
// operation does nothing.
class FFRTUtils::Mutex : public NoCopyable {
public:
    Mutex();
    ~Mutex();

    void Lock();     // blocks
    bool TryLock();  // returns true if it has locked the mutex
    void Unlock();

private:
    // volatile, so that the compiler keeps the store in the destructor.
    ffrt_mutex_t* volatile mutex_ = nullptr;
};

// The runtime's condition variable, without a wait operation. Its memory is not freed either (see Mutex).
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
