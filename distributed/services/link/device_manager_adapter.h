// DeviceManagerAdapter: this service's front to the device manager (platform/device_manager/device_manager.h).
// Stateless and safe from any thread; nothing blocks, look-ups are in memory.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/device_manager/device_manager.h"

namespace Vexo::NetManagerStandard {

// Told when the device manager goes away. Nothing to do then: the service registers again when 4802 is added back.
class DeviceInitCallBack : public DistributedHardware::DmInitCallback {
public:
    void OnRemoteDied() override;
};

class DeviceManagerAdapter : public NoCopyable {
public:
    static std::shared_ptr<DeviceManagerAdapter> GetInstance();

    // Registers this service with the device manager, or registers it again. Returns the device manager's code.
    int32_t Init();
    // Fills deviceList with the trusted devices that are online; always 0, also when the query failed and the list is
    // empty.
    int32_t GetTrustedDeviceList(std::vector<DistributedHardware::DmDeviceInfo>& deviceList);

private:
    static NeverDestroyed<std::shared_ptr<DeviceManagerAdapter>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
