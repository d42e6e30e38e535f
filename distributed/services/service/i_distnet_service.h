// IDistNetService: the remote interface of ability 1163. docs/ipc.md lists the values in the parcels of each request.
// Callers need the system-app flag and PERMISSION_CONNECTIVITY_INTERNAL. Results are int32 codes, and 0 means success.
// The table of codes is distributed/services/utils/distnet_errors.h. Every operation blocks until the service has
// answered.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/device_manager/device_manager.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::NetManagerStandard {

using DistributedHardware::DmDeviceInfo;

// The request codes. The jump from 4 to 1001 is fixed, because clients depend on the numbers.
enum class DistNetInterfaceCode : uint32_t {
    START_SERVICE = 0,
    RELEASE_SERVICE = 1,
    START_DISTRIBUTED_NETWORK = 2,
    STOP_DISTRIBUTED_NETWORK = 3,
    GET_AVAILABLE_DEVICE_LIST = 4,
    GET_REMOTE_DEVICE_INFO = 1001,
};

class IDistNetService : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.NetManagerStandard.IDistNetService")

    // state: receives the ability's state (SystemAbilityState).
    virtual int32_t StartService(uint32_t& state) = 0;
    virtual int32_t ReleaseService(uint32_t& state) = 0;
    // The two integers of StartDistributedNetwork and StopDistributedNetwork are not used.
    virtual int32_t StartDistributedNetwork(int32_t, int32_t, const std::string& networkId) = 0;
    virtual int32_t StopDistributedNetwork(int32_t, int32_t, const std::string& networkId) = 0;
    virtual int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList) = 0;
    // items: the names of the requested capability items. result: receives a JSON object with a member for each
    // requested item that the service knows.
    virtual int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) = 0;
};

}  // namespace Vexo::NetManagerStandard
