#include "platform/device_manager/device_manager.h"

#include <utility>

#include "platform/ability/iservice_registry.h"

namespace Vexo::DistributedHardware {

namespace {

sptr<IDeviceManagerService> Service()
{
    return FindAbility<IDeviceManagerService>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
}

}  // namespace

DeviceManager& DeviceManager::GetInstance()
{
    static DeviceManager instance;
    return instance;
}

int32_t DeviceManager::InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback)
{
    const auto service = Service();
    return service ? service->InitDeviceManager(pkgName, std::move(callback)) : DM_UNAVAILABLE;
}

int32_t DeviceManager::GetTrustedDeviceList(const std::string& pkgName, const std::string& extra,
                                            std::vector<DmDeviceInfo>& deviceList)
{
    const auto service = Service();
    return service ? service->GetTrustedDeviceList(pkgName, extra, deviceList) : DM_UNAVAILABLE;
}

bool DeviceManager::IsSameAccount(const std::string& networkId)
{
    const auto service = Service();
    return service && service->IsSameAccount(networkId);
}

}  // namespace Vexo::DistributedHardware
