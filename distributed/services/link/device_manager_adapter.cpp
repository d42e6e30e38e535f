#include "distributed/services/link/device_manager_adapter.h"

#include <string>

#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/utils/common_utils.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"

namespace Vexo::NetManagerStandard {

using DistributedHardware::DeviceManager;
using DistributedHardware::DmDeviceInfo;

NeverDestroyed<std::shared_ptr<DeviceManagerAdapter>> DeviceManagerAdapter::instance_;
Mutex DeviceManagerAdapter::instanceLock_;
std::atomic<bool> DeviceManagerAdapter::isInstanceCreated_{false};

void DeviceInitCallBack::OnRemoteDied()
{
    NETMGR_EXT_LOGI(" DeviceInitCallBack::OnRemoteDied");
}

std::shared_ptr<DeviceManagerAdapter> DeviceManagerAdapter::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceLock_, isInstanceCreated_);
}

int32_t DeviceManagerAdapter::Init()
{
    const int32_t ret =
        DeviceManager::GetInstance().InitDeviceManager(PKG_NAME, std::make_shared<DeviceInitCallBack>());
    NETMGR_EXT_LOGI(" DeviceManagerAdapter::Init InitDeviceManager ret:%{public}d", ret);
    return ret;
}

int32_t DeviceManagerAdapter::GetTrustedDeviceList(std::vector<DmDeviceInfo>& deviceList)
{
    DeviceManager::GetInstance().GetTrustedDeviceList(PKG_NAME, "", deviceList);
    for (const DmDeviceInfo& device : deviceList) {
        NETMGR_EXT_LOGI(
            " DeviceManagerAdapter::GetTrustedDeviceList deviceId:%{public}s, networkId:%{public}s,"
            "deviceName:%{public}s, deviceTypeId:%{public}d",
            device.deviceId, CommonUtils::GetAnonymousStr(device.networkId), device.deviceName,
            static_cast<int32_t>(device.deviceTypeId));
    }
    return 0;
}

}  // namespace Vexo::NetManagerStandard
