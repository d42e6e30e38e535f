// ISystemAbilityManager: the registry of this device's abilities. SystemAbilityManagerClient: gives access to it. A
// backend registers the abilities of the machine; every other module looks an ability up here before each use. Any
// thread. No call blocks unless its comment says so. Implementation: platform/ability/system_ability_manager.h.
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
    ERR_NOT_STARTED = 4,    // the library or the start failed, the start timed out, or the daemon is stopping
};

class ISystemAbilityManager : public virtual RefBase {
public:
    // Returns null if the ability is not registered. Never loads it.
    virtual sptr<IRemoteObject> GetSystemAbility(int32_t systemAbilityId) = 0;
    // Registers the ability, or replaces the registered one. Listeners are notified of a new id, not of a replacement.
    // Returns ERR_INVALID_ARGUMENT for a null ability.
    virtual int32_t AddSystemAbility(int32_t systemAbilityId, const sptr<IRemoteObject>& ability) = 0;
    // Returns ERR_NOT_FOUND if the ability is not registered.
    virtual int32_t RemoveSystemAbility(int32_t systemAbilityId) = 0;
    // Notifies the listener whenever the ability is added or removed. If it is registered already, the listener is
    // notified of that too, on a platform thread. Subscribing twice to the same id changes nothing and returns ERR_OK.
    // The manager owns the listener until it unsubscribes.
    virtual int32_t SubscribeSystemAbility(int32_t systemAbilityId,
                                           const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Drops notifications that were not delivered yet. Does not wait for a callback that is running.
    virtual int32_t UnSubscribeSystemAbility(int32_t systemAbilityId,
                                             const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Starts an on-demand ability, on a platform thread. Blocks until the ability runs (ERR_OK) or could not be started
    // within 5 s (ERR_NOT_STARTED).
    virtual int32_t LoadSystemAbility(int32_t systemAbilityId) = 0;
    // Returns at once. The ability stops when its running requests have ended; a request that arrives in the meantime
    // waits and starts it again.
    virtual int32_t UnloadSystemAbility(int32_t systemAbilityId) = 0;
    // Notifies the listeners once more that the ability was added, because its state has changed. Returns ERR_NOT_FOUND
    // if it is not registered.
    virtual int32_t AnnounceSystemAbility(int32_t systemAbilityId) = 0;
};

class SystemAbilityManagerClient {
public:
    static SystemAbilityManagerClient& GetInstance();

    // Returns null before the host has installed a manager.
    sptr<ISystemAbilityManager> GetSystemAbilityManager();
    void SetSystemAbilityManager(const sptr<ISystemAbilityManager>& manager);

private:
    SystemAbilityManagerClient() = default;
};

// Returns the ability if it is registered and implements Interface, else null.
template <typename Interface>
sptr<Interface> FindAbility(int32_t systemAbilityId)
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    return manager ? manager->GetSystemAbility(systemAbilityId).Cast<Interface>() : nullptr;
}

}  // namespace Vexo
