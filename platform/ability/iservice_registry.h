// ISystemAbilityManager: the one registry of this device's abilities, and SystemAbilityManagerClient, which gives
// access to it. A backend registers the abilities of the machine; everyone else looks one up here before each use. Any
// thread. No call blocks unless its comment says so. The manager that the host installs:
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
    ERR_NOT_ON_DEMAND = 3,  // this ability is not loaded or unloaded on demand
    ERR_NOT_STARTED = 4,    // its library or its start failed, it did not start in time, or nothing is loaded any more
};

class ISystemAbilityManager : public virtual RefBase {
public:
    // Null when it is not registered now. Never loads.
    virtual sptr<IRemoteObject> GetSystemAbility(int32_t systemAbilityId) = 0;
    // Registers or replaces; status listeners hear of an id that was not there before.
    virtual int32_t AddSystemAbility(int32_t systemAbilityId, const sptr<IRemoteObject>& ability) = 0;
    virtual int32_t RemoveSystemAbility(int32_t systemAbilityId) = 0;
    // The listener hears of every later arrival and departure of that id, and at once (on a platform thread) when it is
    // present. Subscribing twice to the same id is no error and changes nothing. The manager holds the listener until
    // it unsubscribes.
    virtual int32_t SubscribeSystemAbility(int32_t systemAbilityId,
                                           const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Notifications that were not delivered yet are dropped. A call of the listener that is running is not waited for.
    virtual int32_t UnSubscribeSystemAbility(int32_t systemAbilityId,
                                             const sptr<ISystemAbilityStatusChange>& listener) = 0;
    // Blocks until the on-demand ability runs (ERR_OK) or could not be started within 5 s (ERR_NOT_STARTED). Loading
    // itself always happens on the platform's loading thread.
    virtual int32_t LoadSystemAbility(int32_t systemAbilityId) = 0;
    // Accepts and returns; the ability stops once its transactions have ended. A request that comes meanwhile starts it
    // again.
    virtual int32_t UnloadSystemAbility(int32_t systemAbilityId) = 0;
    // Reports to the listeners of a present ability once more that it was added, because its state has changed.
    virtual int32_t AnnounceSystemAbility(int32_t systemAbilityId) = 0;
};

class SystemAbilityManagerClient {
public:
    static SystemAbilityManagerClient& GetInstance();

    // Null before the host has installed one.
    sptr<ISystemAbilityManager> GetSystemAbilityManager();
    void SetSystemAbilityManager(const sptr<ISystemAbilityManager>& manager);

private:
    SystemAbilityManagerClient() = default;
};

// The ability of that id if it is present and of that interface, else null.
template <typename Interface>
sptr<Interface> FindAbility(int32_t systemAbilityId)
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    return manager ? manager->GetSystemAbility(systemAbilityId).Cast<Interface>() : nullptr;
}

}  // namespace Vexo
