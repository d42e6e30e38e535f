#include "platform/eventloop/event_handler.h"

#include <atomic>
#include <utility>

#include "platform/base/check.h"
#include "platform/eventloop/event_queue.h"

namespace Vexo::AppExecFwk {

namespace {

std::atomic<uint64_t> g_lastOwner{0};

}  // namespace

InnerEvent::Pointer InnerEvent::Get(uint32_t innerEventId, int64_t param, const Caller& caller)
{
    Pointer event(new InnerEvent);
    event->innerEventId_ = innerEventId;
    event->param_ = param;
    event->caller_ = caller;
    return event;
}

InnerEvent::Pointer InnerEvent::Get(const Callback& callback, const std::string& name, const Caller& caller)
{
    Pointer event(new InnerEvent);
    event->callback_ = callback;
    event->taskName_ = name;
    event->caller_ = caller;
    return event;
}

EventHandler::EventHandler(const std::shared_ptr<EventRunner>& runner) : runner_(runner), owner_(++g_lastOwner) {}

EventHandler::~EventHandler() = default;

bool EventHandler::SendEvent(InnerEvent::Pointer event, int64_t delayTimeMs, Priority priority)
{
    if (!runner_ || !event || delayTimeMs < 0) {
        return false;
    }
    const std::chrono::milliseconds delay(delayTimeMs);
    const auto level = static_cast<uint32_t>(priority);
    if (event->HasTask()) {
        runner_->Queue()->Add(delay, level,
                              {owner_, event->GetTaskName(), event->GetCaller(), event->GetTaskCallback()});
        return true;
    }
    DISTNET_ASSERT(!weak_from_this().expired(), "a handler of numeric events is held by shared_ptr");
    const std::shared_ptr<InnerEvent> shared(std::move(event));
    auto process = [weak = weak_from_this(), shared] {
        if (const auto handler = weak.lock()) {
            handler->ProcessEvent(InnerEvent::Get(shared->GetInnerEventId(), shared->GetParam(), shared->GetCaller()));
        }
    };
    runner_->Queue()->Add(delay, level, {owner_, "", shared->GetCaller(), std::move(process)});
    return true;
}

bool EventHandler::SendEvent(uint32_t innerEventId, int64_t param, int64_t delayTimeMs)
{
    return SendEvent(InnerEvent::Get(innerEventId, param), delayTimeMs);
}

void EventHandler::RemoveTask(const std::string& name)
{
    if (runner_ && !name.empty()) {
        runner_->Queue()->Remove(owner_, name);
    }
}

void EventHandler::ProcessEvent(const InnerEvent::Pointer& /*event*/) {}

}  // namespace Vexo::AppExecFwk
