// CommonEventManager: publishes and subscribes to the system's common events. It forwards each call to the ability
// registered as 3299, and returns false if no such ability is registered. Thread-safe. Events are delivered on the
// common-event thread, never inside a call of these functions.
#pragma once

#include <memory>

#include "platform/base/refbase.h"
#include "platform/events/common_event_subscriber.h"
#include "platform/events/want.h"

namespace Vexo::EventFwk {

// ICommonEventService: the interface of ability 3299. Each function has the same contract as the function of
// CommonEventManager with the same name.
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
    // After this function has returned, no delivery to the subscriber starts. A delivery that has started may still
    // finish.
    static bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);
    static bool PublishCommonEvent(const CommonEventData& data);
};

}  // namespace Vexo::EventFwk
