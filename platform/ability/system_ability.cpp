#include "platform/ability/system_ability.h"

#include <map>

#include "platform/ability/iservice_registry.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/dfx/guard.h"

namespace Vexo {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ability"};

struct RegisteredAbilities {
    Mutex mutex;
    std::map<int32_t, SystemAbility*> byId GUARDED_BY(mutex);
};

RegisteredAbilities& Registered()
{
    static NeverDestroyed<RegisteredAbilities> registered;
    return registered.value;
}

// Runs one function of the ability. Returns false if that function threw an exception, which is logged. name: the name
// of the function for the log.
template <typename Step>
bool RunStep(int32_t id, const char* name, const Step& step)
{
    return QuviewDFX::RunGuarded(
        LABEL, [&] { return std::string(name) + " of ability " + std::to_string(id); }, step);
}

}  // namespace

SystemAbility::SystemAbility(int32_t systemAbilityId, bool /*runOnCreate*/) : systemAbilityId_(systemAbilityId) {}

bool SystemAbility::MakeAndRegisterAbility(SystemAbility* ability)
{
    if (ability == nullptr) {
        return false;
    }
    RegisteredAbilities& registered = Registered();
    const MutexLock lock(registered.mutex);
    if (!registered.byId.emplace(ability->systemAbilityId_, ability).second) {
        return false;
    }
    // The ability has static storage and must never be deleted. The reference that is added here is never released, so
    // the ability is not deleted when the last sptr is released.
    if (const auto* counted = dynamic_cast<RefBase*>(ability)) {
        counted->IncStrongRef();
    }
    return true;
}

SystemAbility* SystemAbility::FindRegistered(int32_t systemAbilityId)
{
    RegisteredAbilities& registered = Registered();
    const MutexLock lock(registered.mutex);
    const auto found = registered.byId.find(systemAbilityId);
    return found == registered.byId.end() ? nullptr : found->second;
}

bool SystemAbility::Start()
{
    published_ = false;
    const bool started = RunStep(systemAbilityId_, "OnStart", [this] { OnStart(); });
    if (!started || !published_) {
        Withdraw();
        return false;
    }
    state_ = SystemAbilityState::ACTIVE;
    return true;
}

void SystemAbility::Stop()
{
    RunStep(systemAbilityId_, "OnStop", [this] { OnStop(); });
    Withdraw();
    state_ = SystemAbilityState::NOT_LOADED;
}

void SystemAbility::Withdraw()
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    if (published_.exchange(false) && manager) {
        manager->RemoveSystemAbility(systemAbilityId_);
    }
}

bool SystemAbility::Publish(const sptr<IRemoteObject>& object)
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    if (!manager || !object || manager->AddSystemAbility(systemAbilityId_, object) != ERR_OK) {
        return false;
    }
    published_ = true;
    return true;
}

}  // namespace Vexo
