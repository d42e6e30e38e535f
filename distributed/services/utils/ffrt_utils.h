// FFRTUtils: callables as named tasks of the runtime (platform/tasks/ffrt.h), and its mutex and condition variable as
// classes. Static operations without state, from any thread, tasks included. Each copies its callable; the runtime
// invokes the copy once. General tasks have no order among each other. Nothing here reports errors: a task that the
// runtime refuses does not run.
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
    // Submits, and blocks until every task that the calling context has submitted so far has finished: this one and
    // those before.
    static void SubmitTaskSync(const std::function<void()>& func);
    // Starts the callable and blocks for at most timeoutMs. True when it has finished; otherwise it goes on to its end,
    // and what it refers to must live that long. With 0 ms only a task that is already done counts.
    static bool SubmitTimeoutTask(const std::function<void()>& func, uint32_t timeoutMs);
    // Queues a task that is due after delayMs. The handle is empty when the runtime refused it.
    static ffrt::task_handle SubmitDelayTask(std::function<void()>& func, uint32_t delayMs, ffrt::queue& queue);
    // Hands the tasks to the queue in order. Nothing for an empty vector.
    static void SubmitQueueTasks(const std::vector<std::function<void()>>& funcs, ffrt::queue& queue);
    // 0 when the task had not started and will not run; otherwise the runtime's code.
    static int CancelTask(ffrt::task_handle& handle, ffrt::queue& queue);
};

// The runtime's mutex, usable from tasks and threads. Its storage is neither destroyed nor freed with the object: a
// task that still holds the lock while the owner goes away unlocks valid memory. So it belongs into objects that live
// as long as the process. Once destroyed, every operation does nothing.
class FFRTUtils::Mutex : public NoCopyable {
public:
    Mutex();
    ~Mutex();

    void Lock();     // blocks
    bool TryLock();  // true when it has taken the lock
    void Unlock();

private:
    // volatile: without it a compiler may leave out the destructor's last store.
    ffrt_mutex_t* volatile mutex_ = nullptr;
};

// The runtime's condition variable, to signal only. Its storage stays like that of Mutex.
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
