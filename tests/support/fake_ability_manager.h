// FakeAbilityManager: a registry installed for the life of a test. It loads and unloads nothing. Results are set before
// use.
#pragma once

#include <map>
#include <mutex>

#include "platform/ability/iservice_registry.h"

namespace Vexo::Tests {

class FakeAbilityManager : public ISystemAbilityManager {
public:
    int32_t addResult = ERR_OK;
    int32_t unloadResult = ERR_OK;
    int unloads = 0;

    sptr<IRemoteObject> GetSystemAbility(int32_t id) override
    {
        const std::lock_guard lock(mutex_);
        const auto found = abilities_.find(id);
        return found == abilities_.end() ? nullptr : found->second;
    }
    int32_t AddSystemAbility(int32_t id, const sptr<IRemoteObject>& ability) override
    {
        const std::lock_guard lock(mutex_);
        if (addResult == ERR_OK) {
            abilities_[id] = ability;
        }
        return addResult;
    }
    int32_t RemoveSystemAbility(int32_t id) override
    {
        const std::lock_guard lock(mutex_);
        return abilities_.erase(id) == 1 ? ERR_OK : ERR_NOT_FOUND;
    }
    int32_t SubscribeSystemAbility(int32_t, const sptr<ISystemAbilityStatusChange>&) override { return ERR_OK; }
    int32_t UnSubscribeSystemAbility(int32_t, const sptr<ISystemAbilityStatusChange>&) override { return ERR_OK; }
    int32_t LoadSystemAbility(int32_t) override { return ERR_NOT_ON_DEMAND; }
    int32_t UnloadSystemAbility(int32_t) override
    {
        ++unloads;
        return unloadResult;
    }
    int32_t AnnounceSystemAbility(int32_t) override { return ERR_OK; }

private:
    std::mutex mutex_;
    std::map<int32_t, sptr<IRemoteObject>> abilities_;
};

// Installs a registry and takes it away again.
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
