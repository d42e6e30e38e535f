// CommonEventManager: publishes and subscribes to the system's common events. Calls are forwarded to the ability
// registered as 3299; without it they return false. Any thread. Events are delivered on the common-event thread, never
// inside a call.
#pragma once

#include <memory>

#include "platform/base/refbase.h"
#include "platform/events/common_event_subscriber.h"
#include "platform/events/want.h"

namespace Vexo::EventFwk {

// The interface of ability 3299, to which CommonEventManager forwards. Same contracts.
class ICommonEventService : public virtual RefBase {
public:
    virtual bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) = 0;
    virtual bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) = 0;
    virtual bool PublishCommonEvent(const CommonEventData& data) = 0;
};

class CommonEventManager {
public:
    // Returns false if the subscriber is subscribed already.
    static bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);
    // After this returns, no delivery to the subscriber starts; a running one may still finish.
    static bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);
    static bool PublishCommonEvent(const CommonEventData& data);
};

}  // namespace Vexo::EventFwk
