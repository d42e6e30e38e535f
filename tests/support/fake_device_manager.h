// FakeDeviceManager: a fake of the device manager (ability 4802). For this fake, every network id belongs to the
// account of this device.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/device_manager/device_manager.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Tests {

class FakeDeviceManager : public IPCObjectStub, public DistributedHardware::IDeviceManagerService {
public:
    std::vector<DistributedHardware::DmDeviceInfo> devices;

    int32_t InitDeviceManager(const std::string&, std::shared_ptr<DistributedHardware::DmInitCallback>) override
    {
        return DistributedHardware::DM_OK;
    }
    int32_t GetTrustedDeviceList(const std::string&, const std::string&,
                                 std::vector<DistributedHardware::DmDeviceInfo>& deviceList) override
    {
        deviceList = devices;
        return DistributedHardware::DM_OK;
    }
    bool IsSameAccount(const std::string&) override { return true; }
};

}  // namespace Vexo::Tests
