// Serial queues of the task runtime.
#include <algorithm>
#include <map>
#include <thread>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"
#include "platform/tasks/ffrt_function.h"
#include "platform/tasks/timers.h"

namespace ffrt {

using Clock = std::chrono::steady_clock;

class queue_task {
public:
    std::unique_ptr<ffrt_function_t> function;  // taken by whoever runs or cancels the task
    // Where the task waits in its queue. Constant once it does.
    std::pair<Clock::time_point, uint64_t> place;
};

// At most one worker, the runner, runs what is due until nothing is; then one timer waits for the next that will be.
class queue_state : public std::enable_shared_from_this<queue_state> {
public:
    task_handle submit(std::unique_ptr<ffrt_function_t> function, const ffrt_task_attr_t* attr) EXCLUDES(mutex_)
    {
        auto task = std::make_shared<queue_task>();
        task->function = std::move(function);
        std::chrono::microseconds delay{0};
        if (attr != nullptr) {
            task->function->name = attr->name;
            delay = std::chrono::microseconds(std::min(attr->delay_us, MAX_DELAY_US));
        }
        const Vexo::MutexLock lock(mutex_);
        task->place = {Clock::now() + delay, ++submissions_};
        waiting_.emplace(task->place, task);
        if (!look_ahead()) {
            waiting_.erase(task->place);
            return nullptr;
        }
        return task;
    }

    int cancel(const task_handle& task) EXCLUDES(mutex_)
    {
        std::unique_ptr<ffrt_function_t> cancelled;  // what it holds is released after the lock
        const Vexo::MutexLock lock(mutex_);
        const auto it = task ? waiting_.find(task->place) : waiting_.end();
        if (it == waiting_.end() || it->second != task) {
            return 1;
        }
        cancelled = std::move(task->function);
        waiting_.erase(it);
        if (waiting_.empty()) {
            disarm();
        }
        return 0;
    }

    void close() EXCLUDES(mutex_)
    {
        Vexo::MutexLock lock(mutex_);
        decltype(waiting_) dropped = std::exchange(waiting_, {});
        disarm();
        lock.Unlock();
        dropped.clear();
        lock.Lock();
        while (running_ && runner_ != std::this_thread::get_id()) {
            idle_.Wait(mutex_);
        }
    }

private:
    static constexpr uint64_t MAX_DELAY_US =
        10ULL * 365 * 24 * 3600 * 1'000'000;  // ten years cannot overflow the clock

    // Sees to it that a runner comes when the first task is due; false when the runtime has none to give.
    bool look_ahead() REQUIRES(mutex_)
    {
        if (running_ || waiting_.empty()) {
            return true;
        }
        const Clock::time_point due = waiting_.begin()->first.first;
        const auto left = std::chrono::ceil<std::chrono::microseconds>(due - Clock::now());
        if (left.count() <= 0) {
            disarm();
            running_ = RuntimePool().Post([self = shared_from_this()] { self->run_due(); });
            return running_;
        }
        if (timer_ == 0 || due < armedFor_) {
            disarm();
            armedFor_ = due;
            timer_ = Vexo::Tasks::RunAfter(
                left, [weak = weak_from_this()] { on_timer(weak); }, RuntimePool());
        }
        return timer_ != 0;
    }

    void disarm() REQUIRES(mutex_) { Vexo::Tasks::CancelTimer(std::exchange(timer_, 0)); }

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
        disarm();
        while (!waiting_.empty() && waiting_.begin()->first.first <= Clock::now()) {
            std::unique_ptr<ffrt_function_t> function = std::move(waiting_.begin()->second->function);
            waiting_.erase(waiting_.begin());
            lock.Unlock();
            function->Run();
            function.reset();
            lock.Lock();
        }
        runner_ = {};
        running_ = false;
        idle_.NotifyAll();
        (void)look_ahead();  // refused: the next submission looks again
    }

    Vexo::Mutex mutex_;
    Vexo::CondVar idle_;
    std::map<std::pair<Clock::time_point, uint64_t>, task_handle> waiting_ GUARDED_BY(mutex_);
    uint64_t submissions_ GUARDED_BY(mutex_) = 0;
    bool running_ GUARDED_BY(mutex_) = false;
    std::thread::id runner_ GUARDED_BY(mutex_);
    Vexo::Tasks::TimerId timer_ GUARDED_BY(mutex_) = 0;
    Clock::time_point armedFor_ GUARDED_BY(mutex_);
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
