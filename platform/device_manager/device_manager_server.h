// DeviceManagerServer: implements the device manager. Its devices come from the soft bus's list of devices. The host
// creates this object and registers it as ability 4802. Thread-safe. No call blocks.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/device_manager/device_manager.h"
#include "platform/ipc/iremote_object.h"
#include "platform/softbus/softbus_service.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::DistributedHardware {

class DeviceManagerServer : public IDeviceManagerService, public IPCObjectStub {
public:
    explicit DeviceManagerServer(sptr<SoftBus::ISoftBusService> softBus);

    int32_t InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback) override;
    int32_t GetTrustedDeviceList(const std::string& pkgName, const std::string& extra,
                                 std::vector<DmDeviceInfo>& deviceList) override;
    bool IsSameAccount(const std::string& networkId) override;

    // Calls OnRemoteDied of every registered callback, on a platform thread. Does not block. Call Shutdown when ability
    // 4802 is removed from the registry.
    void Shutdown();

private:
    const sptr<SoftBus::ISoftBusService> softBus_;
    Tasks::Strand strand_;
    Mutex mutex_;
    std::map<std::string, std::shared_ptr<DmInitCallback>> callbacks_ GUARDED_BY(mutex_);  // key: the package name
};

}  // namespace Vexo::DistributedHardware
