// DeviceManager: returns the trusted devices of this account. It forwards each call to the ability (service object)
// registered as 4802. If no such ability is registered, a call returns DM_UNAVAILABLE or false. No function blocks or
// does I/O. Thread-safe.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/refbase.h"

namespace Vexo::DistributedHardware {

inline constexpr int32_t DM_OK = 0;
inline constexpr int32_t DM_UNAVAILABLE = -1;  // ability 4802 is not registered
inline constexpr int32_t DM_INVALID_PARAM = -2;

inline constexpr size_t DM_MAX_DEVICE_ID_LEN = 65;  // 64 hex characters and a NUL
inline constexpr size_t DM_MAX_DEVICE_NAME_LEN = 128;

// How this device and another device trust each other.
enum DmAuthForm : int32_t { INVALID_TYPE = -1, PEER_TO_PEER = 0, IDENTICAL_ACCOUNT = 1, ACROSS_ACCOUNT = 2 };

struct DmDeviceInfo {
    char deviceId[DM_MAX_DEVICE_ID_LEN] = {};
    char deviceName[DM_MAX_DEVICE_NAME_LEN] = {};
    uint16_t deviceTypeId = 0;
    char networkId[DM_MAX_DEVICE_ID_LEN] = {};
    int32_t range = 0;        // distance in metres; always -1 (unknown)
    int32_t networkType = 0;  // a LinkType; always LINK_TYPE_WIFI_5G
    DmAuthForm authForm = INVALID_TYPE;
    std::string extraData;  // JSON object: {"online": bool, "last_seen": RFC 3339}
};

class DmInitCallback {
public:
    virtual ~DmInitCallback() = default;
    // Called on a platform thread when the device manager shuts down.
    virtual void OnRemoteDied() = 0;
};

// IDeviceManagerService: the interface of ability 4802. Each function has the same contract as the function of
// DeviceManager with the same name.
class IDeviceManagerService : public virtual RefBase {
public:
    virtual int32_t InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback) = 0;
    virtual int32_t GetTrustedDeviceList(const std::string& pkgName, const std::string& extra,
                                         std::vector<DmDeviceInfo>& deviceList) = 0;
    virtual bool IsSameAccount(const std::string& networkId) = 0;
};

class DeviceManager {
public:
    static DeviceManager& GetInstance();

    // Registers the callback of a package (a program that uses the device manager). The callback is kept until the
    // package registers another callback or the device manager shuts down.
    int32_t InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback);
    // Replaces the content of deviceList by every known device, the reachable devices first. extra: not used; may be
    // empty.
    int32_t GetTrustedDeviceList(const std::string& pkgName, const std::string& extra,
                                 std::vector<DmDeviceInfo>& deviceList);
    // Returns true if this device knows the device with this network id. A device is known after the daemon has
    // verified once that the certificate of that device belongs to the account, even in an earlier run. No I/O.
    bool IsSameAccount(const std::string& networkId);

private:
    DeviceManager() = default;
};

}  // namespace Vexo::DistributedHardware
