// Implements the serial queues of the task runtime.
#include <algorithm>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/tasks/due_queue.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"
#include "platform/tasks/ffrt_function.h"
#include "platform/tasks/timers.h"

namespace ffrt {

using Vexo::SteadyTime;
using Vexo::Tasks::Timers;

class queue_task {
public:
    std::unique_ptr<ffrt_function_t> function;  // null after the task has started or was cancelled
    // The task's place in the queue, which does not change after the task is queued.
    Vexo::Tasks::DuePlace place;
};

// The state of a queue. At most one worker, which is called the runner, runs the tasks that are due. When no task is
// due any more, the runner ends, and one timer waits for the next task.
class queue_state : public std::enable_shared_from_this<queue_state> {
public:
    task_handle submit(std::unique_ptr<ffrt_function_t> function, const ffrt_task_attr_t* attr) EXCLUDES(mutex_)
    {
        auto task = std::make_shared<queue_task>();
        task->function = std::move(function);
        std::chrono::microseconds delay{0};
        if (attr != nullptr) {
            task->function->name = attr->name;
            delay =
                std::chrono::microseconds(std::min<uint64_t>(attr->delay_us, std::chrono::microseconds::max().count()));
        }
        const Vexo::MutexLock lock(mutex_);
        task->place = waiting_.Add(Vexo::Tasks::DueAfter(timers_.Now(), delay), task);
        if (!ensure_runner()) {
            waiting_.Remove(task->place);
            return nullptr;
        }
        return task;
    }

    int cancel(const task_handle& task) EXCLUDES(mutex_)
    {
        std::unique_ptr<ffrt_function_t> cancelled;  // destroyed after the lock is released
        const Vexo::MutexLock lock(mutex_);
        if (!task || !waiting_.Remove(task->place)) {
            return 1;
        }
        cancelled = std::move(task->function);
        if (waiting_.IsEmpty()) {
            timer_.Cancel();
        }
        return 0;
    }

    void close() EXCLUDES(mutex_)
    {
        Vexo::MutexLock lock(mutex_);
        std::vector<task_handle> dropped = waiting_.RemoveIf([](const task_handle&) { return true; });
        timer_.Cancel();
        lock.Unlock();
        dropped.clear();
        lock.Lock();
        while (running_ && runner_ != std::this_thread::get_id()) {
            idle_.Wait(mutex_);
        }
    }

private:
    // Makes sure that a runner starts when the first task is due. Returns false if the pool refuses the runner's work
    // or if the timer cannot be started.
    bool ensure_runner() REQUIRES(mutex_)
    {
        const std::optional<SteadyTime> due = waiting_.NextDue();
        if (running_ || !due) {
            return true;
        }
        const auto left = std::chrono::ceil<std::chrono::microseconds>(*due - timers_.Now());
        if (left.count() <= 0) {
            timer_.Cancel();
            running_ = RuntimePool().Post([self = shared_from_this()] { self->run_due(); });
            return running_;
        }
        if (!timer_.IsArmed() || *due < armedFor_) {
            armedFor_ = *due;
            timer_ = timers_.RunAfter(
                left, [weak = weak_from_this()] { on_timer(weak); }, RuntimePool());
        }
        return timer_.IsArmed();
    }

    static void on_timer(const std::weak_ptr<queue_state>& weak)
    {
        const std::shared_ptr<queue_state> self = weak.lock();
        if (!self) {
            return;
        }
        {
            const Vexo::MutexLock lock(self->mutex_);
            if (self->running_) {
                return;
            }
            self->running_ = true;
        }
        self->run_due();
    }

    void run_due() EXCLUDES(mutex_)
    {
        Vexo::MutexLock lock(mutex_);
        runner_ = std::this_thread::get_id();
        timer_.Cancel();
        while (const std::optional<task_handle> task = waiting_.TakeDue(timers_.Now())) {
            std::unique_ptr<ffrt_function_t> function = std::move((*task)->function);
            lock.Unlock();
            function->Run();
            function.reset();
            lock.Lock();
        }
        runner_ = {};
        running_ = false;
        idle_.NotifyAll();
        (void)ensure_runner();  // if the runtime refuses the runner, the next submission tries again
    }

    Vexo::Mutex mutex_;
    Vexo::CondVar idle_;
    Vexo::Tasks::DueQueue<task_handle> waiting_ GUARDED_BY(mutex_);
    bool running_ GUARDED_BY(mutex_) = false;
    std::thread::id runner_ GUARDED_BY(mutex_);
    Timers& timers_ = Timers::System();
    Vexo::Tasks::Timer timer_ GUARDED_BY(mutex_);
    SteadyTime armedFor_ GUARDED_BY(mutex_);
};

queue::queue(const char* /*name*/) : state_(std::make_shared<queue_state>()) {}

queue::~queue()
{
    state_->close();
}

}  // namespace ffrt

void ffrt_queue_submit(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr)
{
    (void)ffrt_queue_submit_h(queue, function, attr);
}

ffrt::task_handle ffrt_queue_submit_h(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr)
{
    return function != nullptr ? queue.state()->submit(std::unique_ptr<ffrt_function_t>(function), attr) : nullptr;
}

int ffrt_queue_cancel(ffrt::queue& queue, const ffrt::task_handle& handle)
{
    return queue.state()->cancel(handle);
}
