// FakeAbilityManager: the registry of abilities (platform services) for tests. A test sets addResult and unloadResult
// before the registry is used. InstalledRegistry: installs a FakeAbilityManager for the duration of a test.
#pragma once

#include "platform/ability/system_ability_manager.h"

namespace Vexo::Tests {

class FakeAbilityManager : public SystemAbilityManager {
public:
    int32_t addResult = ERR_OK;
    int32_t unloadResult = ERR_OK;
    int unloads = 0;

    int32_t AddSystemAbility(int32_t id, const sptr<IRemoteObject>& ability) override
    {
        return addResult == ERR_OK ? SystemAbilityManager::AddSystemAbility(id, ability) : addResult;
    }
    int32_t UnloadSystemAbility(int32_t) override
    {
        ++unloads;
        return unloadResult;
    }
};

// Installs a FakeAbilityManager in the constructor and removes it in the destructor.
class InstalledRegistry {
public:
    const sptr<FakeAbilityManager> manager = MakeSptr<FakeAbilityManager>();

    InstalledRegistry() { SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(manager); }
    ~InstalledRegistry() { SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr); }

    template <typename Fake>
    sptr<Fake> Add(int32_t systemAbilityId)
    {
        sptr<Fake> fake = MakeSptr<Fake>();
        manager->AddSystemAbility(systemAbilityId, fake);
        return fake;
    }
};

}  // namespace Vexo::Tests
