// CommonEventServer: the common-event service of one device, which a backend makes and registers as ability 3299. Any
// thread. No call blocks. Events are delivered on one strand, the common-event thread: in publishing order, one at a
// time, never inside a call and without a lock held. Callers use platform/events/common_event_manager.h.
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
    // False for null and for one that is subscribed already. Only events published later are delivered. Keeps the
    // subscriber.
    bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override;
    // False when not subscribed. No delivery starts after it returns, not even of an event published before; waits for
    // nothing.
    bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override;
    // False when the event has no action, or when too many deliveries wait: some subscribers may then miss it.
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
