#include "platform/ability/iservice_registry.h"

#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo {
namespace {

struct InstalledManager {
    Mutex mutex;
    sptr<ISystemAbilityManager> manager GUARDED_BY(mutex);
};

InstalledManager& Installed()
{
    static NeverDestroyed<InstalledManager> installed;
    return installed.value;
}

}  // namespace

SystemAbilityManagerClient& SystemAbilityManagerClient::GetInstance()
{
    static SystemAbilityManagerClient client;
    return client;
}

sptr<ISystemAbilityManager> SystemAbilityManagerClient::GetSystemAbilityManager()
{
    InstalledManager& installed = Installed();
    const MutexLock lock(installed.mutex);
    return installed.manager;
}

void SystemAbilityManagerClient::SetSystemAbilityManager(const sptr<ISystemAbilityManager>& manager)
{
    InstalledManager& installed = Installed();
    sptr<ISystemAbilityManager> previous = manager;  // destroyed after the lock is released
    const MutexLock lock(installed.mutex);
    std::swap(installed.manager, previous);
}

}  // namespace Vexo
