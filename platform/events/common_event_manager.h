// CommonEventManager: publishes and subscribes to the system's common events. Acts on the ability registered as 3299;
// every function is false without it. Any thread; delivery is on the common-event thread, never inside a call.
#pragma once

#include <memory>

#include "platform/base/refbase.h"
#include "platform/events/common_event_subscriber.h"
#include "platform/events/want.h"

namespace Vexo::EventFwk {

// What stands behind CommonEventManager: the object registered as 3299. Same contracts.
class ICommonEventService : public virtual RefBase {
public:
    virtual bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) = 0;
    virtual bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) = 0;
    virtual bool PublishCommonEvent(const CommonEventData& data) = 0;
};

class CommonEventManager {
public:
    // False when already subscribed.
    static bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);
    // After it returns no delivery to the subscriber starts; one that runs may still finish.
    static bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);
    static bool PublishCommonEvent(const CommonEventData& data);
};

}  // namespace Vexo::EventFwk
