// Serial queues of the task runtime.
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
    queue_task(ffrt_function_t* function, std::string name) : function_(function), name_(std::move(name)) {}

    void run() { RunTaskFunction(std::move(function_), name_); }

    // Where it waits in its queue; the queue's lock guards it.
    std::pair<Clock::time_point, uint64_t> place;

private:
    std::unique_ptr<ffrt_function_t> function_;
    const std::string name_;
};

class queue_state : public std::enable_shared_from_this<queue_state> {
public:
    task_handle submit(ffrt_function_t* function, const ffrt_task_attr_t* attr) EXCLUDES(mutex_)
    {
        if (function == nullptr) {
            return nullptr;
        }
        auto task = std::make_shared<queue_task>(function, attr != nullptr ? attr->name : "");
        const std::chrono::microseconds delay(attr != nullptr ? static_cast<int64_t>(attr->delay_us) : 0);
        const Vexo::MutexLock lock(mutex_);
        task->place = {Clock::now() + delay, ++submissions_};
        waiting_.emplace(task->place, task);
        pump();
        return task;
    }

    int cancel(const task_handle& task) EXCLUDES(mutex_)
    {
        const Vexo::MutexLock lock(mutex_);
        const auto it = task ? waiting_.find(task->place) : waiting_.end();
        if (it == waiting_.end() || it->second != task) {
            return 1;
        }
        waiting_.erase(it);
        return 0;
    }

    void close() EXCLUDES(mutex_)
    {
        const Vexo::MutexLock lock(mutex_);
        waiting_.clear();
        while (running_ && runner_ != std::this_thread::get_id()) {
            idle_.Wait(mutex_);
        }
    }

private:
    // Starts the next due task, or sees to it that somebody looks again when the first one is due.
    void pump() REQUIRES(mutex_)
    {
        if (running_ || waiting_.empty()) {
            return;
        }
        const Clock::time_point due = waiting_.begin()->first.first;
        const auto left = std::chrono::ceil<std::chrono::microseconds>(due - Clock::now());
        auto again = [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->run_next();
            }
        };
        if (left.count() <= 0) {
            running_ = true;
            if (!RuntimePool().Post([self = shared_from_this()] { self->run_next_marked(); })) {
                running_ = false;
            }
        } else if (armed_ == Clock::time_point() || due < armed_) {
            armed_ = due;
            Vexo::Tasks::RunAfter(left, std::move(again), RuntimePool());
        }
    }

    void run_next() EXCLUDES(mutex_)
    {
        const Vexo::MutexLock lock(mutex_);
        armed_ = {};
        pump();
    }

    void run_next_marked() EXCLUDES(mutex_)
    {
        Vexo::MutexLock lock(mutex_);
        if (!waiting_.empty() && waiting_.begin()->first.first <= Clock::now()) {
            const task_handle task = std::move(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
            runner_ = std::this_thread::get_id();
            lock.Unlock();
            task->run();
            lock.Lock();
            runner_ = {};
        }
        running_ = false;
        idle_.NotifyAll();
        pump();
    }

    Vexo::Mutex mutex_;
    Vexo::CondVar idle_;
    std::map<std::pair<Clock::time_point, uint64_t>, task_handle> waiting_ GUARDED_BY(mutex_);
    uint64_t submissions_ GUARDED_BY(mutex_) = 0;
    bool running_ GUARDED_BY(mutex_) = false;
    std::thread::id runner_ GUARDED_BY(mutex_);
    Clock::time_point armed_ GUARDED_BY(mutex_);  // when the next look is due; zero: none is
};

queue::queue(const char* /*name*/) : state_(std::make_shared<queue_state>()) {}

queue::~queue()
{
    state_->close();
}

}  // namespace ffrt

void ffrt_queue_submit(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr)
{
    (void)queue.state()->submit(function, attr);
}

ffrt::task_handle ffrt_queue_submit_h(ffrt::queue& queue, ffrt_function_t* function, const ffrt_task_attr_t* attr)
{
    return queue.state()->submit(function, attr);
}

int ffrt_queue_cancel(ffrt::queue& queue, const ffrt::task_handle& handle)
{
    return queue.state()->cancel(handle);
}
