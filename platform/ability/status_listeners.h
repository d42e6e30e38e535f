// StatusListeners: who hears of which ability's arrival and departure. Each listener has a strand, so that it hears in
// the order in which the registry changed, on a thread of the pool and under no lock. Not thread-safe: the registry's
// lock guards it, and its order is the order of delivery. User: system_ability_manager.cpp.
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

    // False when it listens to that id already.
    bool Add(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener);
    // False when it did not listen to that id. What it has not heard yet it will not hear.
    bool Remove(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener);

    // Do not block; the callbacks follow.
    void Notify(int32_t systemAbilityId, Event event) const;
    void TellOne(int32_t systemAbilityId, Event event, const sptr<ISystemAbilityStatusChange>& listener) const;

private:
    struct Listener {
        sptr<ISystemAbilityStatusChange> object;
        std::unique_ptr<Tasks::Strand> strand;
        std::map<int32_t, std::shared_ptr<std::atomic<bool>>> subscriptions;  // by ability id; false once ended
    };

    static void Post(const Listener& listener, int32_t systemAbilityId, Event event);

    std::map<ISystemAbilityStatusChange*, Listener> listeners_;
};

}  // namespace Vexo
