// DeviceManagerAdapter: the service's access to the device manager (platform/device_manager/device_manager.h).
// Stateless and thread-safe. No call blocks, because the device manager answers from memory.
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

// Logs that the device manager has stopped. When the device manager's ability, 4802, is added again,
// converged/awareness/awareness_center_manager.h registers this service again.
class DeviceInitCallBack : public DistributedHardware::DmInitCallback {
public:
    void OnRemoteDied() override;
};

class DeviceManagerAdapter : public NoCopyable {
public:
    static std::shared_ptr<DeviceManagerAdapter> GetInstance();

    // Registers this service with the device manager. Init may be called again. Returns the device manager's code.
    int32_t Init();
    // Replaces the content of deviceList by every known device of the account, the reachable devices first. If the
    // query fails, deviceList stays unchanged. Always returns 0.
    int32_t GetTrustedDeviceList(std::vector<DistributedHardware::DmDeviceInfo>& deviceList);

private:
    static NeverDestroyed<std::shared_ptr<DeviceManagerAdapter>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
