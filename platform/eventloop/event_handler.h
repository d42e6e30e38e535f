// EventHandler: posts events and named tasks to an EventRunner and removes them again by name. Removal is per owner:
// only the handler that posted a task can remove it, and a queued task outlives its handler. Any thread. Without a
// runner SendEvent is false and RemoveTask does nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/eventloop/event_runner.h"
#include "platform/eventloop/inner_event.h"

namespace Vexo::AppExecFwk {

class EventHandler : public std::enable_shared_from_this<EventHandler> {
public:
    // Scheduling classes among events due in the same millisecond; smaller runs first.
    enum class Priority : uint32_t { VIP = 0, IMMEDIATE = 1, HIGH = 2, LOW = 3, IDLE = 4 };

    explicit EventHandler(const std::shared_ptr<EventRunner>& runner = nullptr);
    virtual ~EventHandler();

    // Takes the event over. False without a runner, with a null event or a negative delay. A numeric event that is due
    // after its handler is gone is dropped; a task still runs. Handlers are held by shared_ptr for numeric events.
    bool SendEvent(InnerEvent::Pointer event, int64_t delayTimeMs = 0, Priority priority = Priority::LOW);
    bool SendEvent(uint32_t innerEventId, int64_t param = 0, int64_t delayTimeMs = 0);

    // Removes the queued tasks of that name which this handler posted.
    void RemoveTask(const std::string& name);

    // Called on the runner's thread for each numeric event.
    virtual void ProcessEvent(const InnerEvent::Pointer& event);

private:
    const std::shared_ptr<EventRunner> runner_;
    const uint64_t owner_;  // never reused: tasks of a destroyed handler cannot be mistaken for a later one's
};

}  // namespace Vexo::AppExecFwk
