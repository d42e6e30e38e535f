#include "platform/eventloop/event_runner.h"

#include <pthread.h>

#include <thread>
#include <utility>

#include "platform/eventloop/event_queue.h"

namespace Vexo::AppExecFwk {

std::shared_ptr<EventRunner> EventRunner::Create(const std::string& threadName)
{
    auto queue = std::make_shared<EventQueue>();
    // The thread is detached: an event that runs on this thread may release the last reference to the runner, and a
    // thread cannot join itself. EventQueue::Stop waits for the thread instead.
    std::thread([queue, name = threadName.substr(0, 15)] {
        pthread_setname_np(pthread_self(), name.c_str());
        queue->Run();
    }).detach();
    return std::shared_ptr<EventRunner>(new EventRunner(std::move(queue)));
}

EventRunner::EventRunner(std::shared_ptr<EventQueue> queue) : queue_(std::move(queue)) {}

EventRunner::~EventRunner()
{
    queue_->Stop();
}

}  // namespace Vexo::AppExecFwk
