// EventRunner: one thread that runs posted events when they are due. Several handlers (event_handler.h) may share a
// runner. The thread ends when the last owner of the runner releases it.
#pragma once

#include <memory>
#include <string>

#include "platform/base/nocopyable.h"

namespace Vexo::AppExecFwk {

class EventQueue;

class EventRunner : public NoCopyable {
public:
    // Starts the thread. Does not block.
    static std::shared_ptr<EventRunner> Create(const std::string& threadName);
    // Drops the queued events. Blocks until the running event has finished. Does not block if the destructor runs on
    // the runner's own thread.
    ~EventRunner();

    const std::shared_ptr<EventQueue>& Queue() const { return queue_; }

private:
    explicit EventRunner(std::shared_ptr<EventQueue> queue);
    std::shared_ptr<EventQueue> queue_;
};

}  // namespace Vexo::AppExecFwk
