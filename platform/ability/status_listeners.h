// StatusListeners: the listeners that are notified when an ability is added or removed. Each listener has its own
// strand. The listener is called on a pool thread, without a lock held, in the order in which the registry changed. A
// StatusListeners is not thread-safe: the registry's lock guards it. Used by system_ability_manager.cpp.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "platform/ability/system_ability_status_change.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo {

class StatusListeners {
public:
    enum class Event { ADDED, REMOVED };

    // Subscribes the listener to the ability. Returns false if the listener is subscribed to this ability already.
    bool Add(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener);
    // Ends the subscription. Drops the subscription's notifications that were not delivered yet. Returns false if the
    // listener is not subscribed to this ability.
    bool Remove(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener);

    // Notify posts the event to every listener of this id, NotifyOne to one listener. Neither function blocks.
    void Notify(int32_t systemAbilityId, Event event) const;
    void NotifyOne(int32_t systemAbilityId, Event event, const sptr<ISystemAbilityStatusChange>& listener) const;

private:
    struct Listener {
        sptr<ISystemAbilityStatusChange> object;
        std::unique_ptr<Tasks::Strand> strand;
        // Key: the ability id. Value: true until Remove ends the subscription. Queued notifications share the flag and
        // are dropped if it is false.
        std::map<int32_t, std::shared_ptr<std::atomic<bool>>> subscriptions;
    };

    static void Post(const Listener& listener, int32_t systemAbilityId, Event event);

    std::map<ISystemAbilityStatusChange*, Listener> listeners_;
};

}  // namespace Vexo
