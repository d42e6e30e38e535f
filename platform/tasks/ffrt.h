// ffrt: the task runtime on which the service runs. Tasks have a name and may block for minutes. General tasks have no
// dependencies and no order. A queue runs its tasks one after the other. Every submission copies the callable into
// storage that the runtime owns, invokes it once and destroys it. A task that throws an exception ends, and the
// exception is logged. All functions may be called from any thread, also from a task. Built on elastic_pool.h and
// timers.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/base/mutex.h"

// ---- Task attributes -------------------------------------------------------------------------------------------
struct ffrt_task_attr_t {
    std::string name;
    uint64_t delay_us = 0;
};
void ffrt_task_attr_init(ffrt_task_attr_t* attr);
void ffrt_task_attr_destroy(ffrt_task_attr_t* attr);
void ffrt_task_attr_set_name(ffrt_task_attr_t* attr, const char* name);
void ffrt_task_attr_set_delay(ffrt_task_attr_t* attr, uint64_t delay_us);

// ---- Function storage ------------------------------------------------------------------------------------------
enum ffrt_function_kind_t { ffrt_function_kind_general, ffrt_function_kind_queue };
struct ffrt_function_t;  // owned by the runtime after submission

namespace ffrt {
// Copies the callable. Pass the result to exactly one submission: to ffrt_submit, or to a queue if kind is
// ffrt_function_kind_queue. The submission takes ownership of the result.
ffrt_function_t* create_function_wrapper(const std::function<void()>& callable, ffrt_function_kind_t kind);
}  // namespace ffrt

// ---- General tasks ---------------------------------------------------------------------------------------------
// Starts a task without input or output dependencies. Does not wait for running tasks. If the runtime is full, the task
// is destroyed without running, and ffrt_wait does not wait for it.
void ffrt_submit(ffrt_function_t* function, const ffrt_task_attr_t* attr);

// Blocks until every task has finished that was submitted so far from the calling context. The calling context is the
// task that runs on this thread, or the thread itself if no task runs on it.
void ffrt_wait();

// ---- Queues ----------------------------------------------------------------------------------------------------
namespace ffrt {
class queue_state;
class queue_task;
// Identifies a task that was submitted to a queue. Null if the runtime refused the task. Copies identify the same task.
using task_handle = std::shared_ptr<queue_task>;

// A serial queue: runs one task at a time, in the order in which the tasks are due. A task without a delay is due when
// it is submitted. The destructor drops tasks that have not started and waits for the running task.
class queue {
public:
    explicit queue(const char* name);
    ~queue();
    queue(const queue&) = delete;
    queue& operator=(const queue&) = delete;

    const std::shared_ptr<queue_state>& state() const { return state_; }

private:
    std::shared_ptr<queue_state> state_;
};
}  // namespace ffrt

void ffrt_queue_submit(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr);
ffrt::task_handle ffrt_queue_submit_h(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr);
// Cancels a task. Returns 0 if the task had not started and will never run. Returns 1 if the task has started, is
// unknown or was cancelled before.
int ffrt_queue_cancel(ffrt::queue& queue, const ffrt::task_handle& handle);

// The mutex and the condition variable: each is 64 bytes of storage, in which its init function constructs the object.
// All functions return 0 on success. On failure they return ffrt_error_busy, ffrt_error_timedout or ffrt_error.
// ffrt_error: an object is null or was not initialised, or an attribute is not null.
enum ffrt_error_t : int { ffrt_success = 0, ffrt_error = -1, ffrt_error_busy = 16, ffrt_error_timedout = 110 };
struct alignas(8) ffrt_mutex_t {
    unsigned char storage[64];
};
struct alignas(8) ffrt_cond_t {
    unsigned char storage[64];
};
struct ffrt_mutexattr_t;  // pass null, because no attributes exist
struct ffrt_condattr_t;
int ffrt_mutex_init(ffrt_mutex_t* mutex, const ffrt_mutexattr_t* attr);
int ffrt_mutex_lock(ffrt_mutex_t* mutex);
int ffrt_mutex_unlock(ffrt_mutex_t* mutex);
int ffrt_mutex_trylock(ffrt_mutex_t* mutex);
int ffrt_mutex_destroy(ffrt_mutex_t* mutex);
int ffrt_cond_init(ffrt_cond_t* cond, const ffrt_condattr_t* attr);
int ffrt_cond_signal(ffrt_cond_t* cond);
int ffrt_cond_broadcast(ffrt_cond_t* cond);
int ffrt_cond_wait(ffrt_cond_t* cond, ffrt_mutex_t* mutex);
// The caller must have locked the mutex. deadline: a time of the steady clock.
int ffrt_cond_timedwait(ffrt_cond_t* cond, ffrt_mutex_t* mutex, std::chrono::steady_clock::time_point deadline);
int ffrt_cond_destroy(ffrt_cond_t* cond);

// ---- Asynchronous call with a future ---------------------------------------------------------------------------
namespace ffrt {
enum class future_status { ready, timeout };
class async_state;

// Waits until the callable that async runs has ended. The future may be destroyed before or after that.
class future {
public:
    explicit future(std::shared_ptr<async_state> state);
    // Blocks until the callable has ended. timeout: the longest time to block. Returns ready if the callable has ended,
    // even if it ended exactly when the timeout ended.
    future_status wait_for(std::chrono::nanoseconds timeout) const;

private:
    std::shared_ptr<async_state> state_;
};

// Runs a copy of the callable on a runtime thread, as a task named "thread". The returned future can wait for this
// task; ffrt_wait does not wait for it. If the runtime is full, the callable does not run and the future times out.
future async(const std::function<void()>& callable);
}  // namespace ffrt
