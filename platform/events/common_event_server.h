// CommonEventServer: the common-event service of one device. A backend creates it and registers it as ability 3299.
// Thread-safe. No call blocks. A strand, called the common-event thread, delivers one event at a time in publishing
// order. No event is delivered inside a call of this class, or while a lock is held. Callers use
// platform/events/common_event_manager.h.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/events/common_event_manager.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::EventFwk {

class CommonEventServer : public IPCObjectStub, public ICommonEventService {
public:
    // Returns false if the subscriber is null or subscribed already. Only events that are published later are
    // delivered. The server shares ownership of the subscriber until UnSubscribeCommonEvent.
    bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override;
    // Returns false if the subscriber is not subscribed. After this function has returned, no delivery to the
    // subscriber starts, not even of an event that was published before. Does not wait for a running delivery.
    bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override;
    // Returns false if the event has no action (the event is not published), or if too many deliveries are queued (some
    // subscribers may miss the event).
    bool PublishCommonEvent(const CommonEventData& data) override;

private:
    struct Subscription {
        std::shared_ptr<CommonEventSubscriber> subscriber;
        std::atomic<bool> active{true};
    };

    Mutex mutex_;
    std::vector<std::shared_ptr<Subscription>> subscriptions_ GUARDED_BY(mutex_);
    Tasks::Strand delivery_;  // own synchronisation
};

}  // namespace Vexo::EventFwk
