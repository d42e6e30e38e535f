#include "platform/ability/iservice_registry.h"

#include "platform/base/mutex.h"

namespace Vexo {
namespace {

struct InstalledManager {
    Mutex mutex;
    sptr<ISystemAbilityManager> manager GUARDED_BY(mutex);
};

InstalledManager& Installed()
{
    // Never destroyed: threads may use it until the process is gone.
    static auto* const installed = new InstalledManager;  // NOLINT(cppcoreguidelines-owning-memory)
    return *installed;
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
    sptr<ISystemAbilityManager> previous = manager;  // released after the lock
    const MutexLock lock(installed.mutex);
    std::swap(installed.manager, previous);
}

}  // namespace Vexo
