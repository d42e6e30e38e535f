// ISystemAbilityManager: the registry of this device's abilities (services with a number). SystemAbilityManagerClient:
// returns the registry. A backend registers the abilities of the machine. Every other module looks an ability up before
// each use. Thread-safe. No call blocks unless its comment says so. Implementation:
// platform/ability/system_ability_manager.h.
#pragma once

#include <cstdint>

#include "platform/ability/ability_ids.h"
#include "platform/ability/system_ability_status_change.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo {

enum SystemAbilityManagerResult : int32_t {
    ERR_OK = 0,
    ERR_INVALID_ARGUMENT = 22,
    ERR_NOT_FOUND = 2,
    ERR_NOT_ON_DEMAND = 3,  // the ability is registered, but not loaded on demand
    ERR_NOT_STARTED = 4,    // loading or starting failed or took too long, or the daemon is stopping
};

class ISystemAbilityManager : public virtual RefBase {
public:
    // Returns null if the ability is not registered. Never loads an ability.
    virtual sptr<IRemoteObject> GetSystemAbility(int32_t systemAbilityId) = 0;
    // Registers the ability under this id, or replaces the registered one. Listeners are notified only if the id was
    // not registered before. Returns ERR_INVALID_ARGUMENT for a null ability.
    virtual int32_t AddSystemAbility(int32_t systemAbilityId, const sptr<IRemoteObject>& ability) = 0;
    // Returns ERR_NOT_FOUND if the ability is not registered.
    virtual int32_t RemoveSystemAbility(int32_t systemAbilityId) = 0;
    // Notifies the listener of each later addition or removal of the ability. If the ability is registered already, the
    // listener is also notified of that addition. Notifications run on a platform thread. Subscribing again to the same
    // id changes nothing and returns ERR_OK. The manager owns the listener until UnSubscribeSystemAbility.
    virtual int32_t SubscribeSystemAbility(int32_t systemAbilityId,
                                           const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Ends the subscription and drops notifications that were not delivered yet. Does not wait for a callback that is
    // running.
    virtual int32_t UnSubscribeSystemAbility(int32_t systemAbilityId,
                                             const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Starts an on-demand ability on a platform thread. Blocks until the ability runs (returns ERR_OK), its start has
    // failed, or the load limit (default 5 s) has passed since the call (both return ERR_NOT_STARTED).
    virtual int32_t LoadSystemAbility(int32_t systemAbilityId) = 0;
    // Returns at once. The ability stops when its running requests have ended. A request that arrives before the stop
    // waits until the ability has stopped, and then starts it again. An ability that is still starting stops after its
    // start, unless a caller waits for the ability.
    virtual int32_t UnloadSystemAbility(int32_t systemAbilityId) = 0;
    // Notifies the listeners again that the ability was added. Call it when the state of a registered ability has
    // changed. Returns ERR_NOT_FOUND if the ability is not registered.
    virtual int32_t AnnounceSystemAbility(int32_t systemAbilityId) = 0;
};

class SystemAbilityManagerClient {
public:
    static SystemAbilityManagerClient& GetInstance();

    // Returns null if the host has not installed a manager yet.
    sptr<ISystemAbilityManager> GetSystemAbilityManager();
    void SetSystemAbilityManager(const sptr<ISystemAbilityManager>& manager);

private:
    SystemAbilityManagerClient() = default;
};

// FindAbility: returns the ability if it is registered and implements Interface. Otherwise returns null.
template <typename Interface>
sptr<Interface> FindAbility(int32_t systemAbilityId)
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    return manager ? manager->GetSystemAbility(systemAbilityId).Cast<Interface>() : nullptr;
}

}  // namespace Vexo
