// EventHandler: posts events to an EventRunner. An event is a named task or a numeric event (inner_event.h). RemoveTask
// removes tasks by name; only the handler that posted a task can remove it. A queued task still runs after its handler
// is destroyed. Thread-safe. Without a runner, SendEvent returns false and RemoveTask does nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/eventloop/event_runner.h"
#include "platform/eventloop/inner_event.h"

namespace Vexo::AppExecFwk {

class EventHandler : public std::enable_shared_from_this<EventHandler> {
public:
    // The priority of an event. Events that are due in the same millisecond run in the order of this value, the
    // smallest first.
    enum class Priority : uint32_t { VIP = 0, IMMEDIATE = 1, HIGH = 2, LOW = 3, IDLE = 4 };

    explicit EventHandler(const std::shared_ptr<EventRunner>& runner = nullptr);
    virtual ~EventHandler();

    // Takes ownership of the event. Returns false if there is no runner, the event is null or the delay is negative. A
    // numeric event is dropped if its handler no longer exists when the event is due. A task still runs in that case. A
    // handler that sends numeric events must be owned by a shared_ptr.
    bool SendEvent(InnerEvent::Pointer event, int64_t delayTimeMs = 0, Priority priority = Priority::LOW);
    bool SendEvent(uint32_t innerEventId, int64_t param = 0, int64_t delayTimeMs = 0);

    // Removes the queued tasks with this name, if this handler has posted them.
    void RemoveTask(const std::string& name);

    // Called on the runner's thread for each numeric event.
    virtual void ProcessEvent(const InnerEvent::Pointer& event);

private:
    const std::shared_ptr<EventRunner> runner_;
    const uint64_t owner_;  // never reused, so a later handler cannot remove the tasks of this handler
};

}  // namespace Vexo::AppExecFwk
