// EventRunner: one thread that runs posted events when they are due. Shared by the handlers made on it
// (event_handler.h); the thread ends when the last of them lets go. Events already queued outlive the handler that
// posted them.
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
    // Events that are not due are dropped; waits for the one that runs, unless called on the runner's own thread.
    ~EventRunner();

    const std::shared_ptr<EventQueue>& Queue() const { return queue_; }

private:
    explicit EventRunner(std::shared_ptr<EventQueue> queue);
    std::shared_ptr<EventQueue> queue_;
};

}  // namespace Vexo::AppExecFwk
