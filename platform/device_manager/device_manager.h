// DeviceManager: the trusted devices of this account, as the soft bus knows them. Look-ups are in memory and never
// block; any thread. It acts on the ability registered as 4802 and answers DM_UNAVAILABLE, nothing or false without it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/refbase.h"

namespace Vexo::DistributedHardware {

inline constexpr int32_t DM_OK = 0;
inline constexpr int32_t DM_UNAVAILABLE = -1;  // 4802 is not there
inline constexpr int32_t DM_INVALID_PARAM = -2;

inline constexpr size_t DM_MAX_DEVICE_ID_LEN = 65;  // 64 hex characters and a NUL
inline constexpr size_t DM_MAX_DEVICE_NAME_LEN = 128;

// How the two devices know each other.
enum DmAuthForm : int32_t { INVALID_TYPE = -1, PEER_TO_PEER = 0, IDENTICAL_ACCOUNT = 1, ACROSS_ACCOUNT = 2 };

struct DmDeviceInfo {
    char deviceId[DM_MAX_DEVICE_ID_LEN] = {};
    char deviceName[DM_MAX_DEVICE_NAME_LEN] = {};
    uint16_t deviceTypeId = 0;
    char networkId[DM_MAX_DEVICE_ID_LEN] = {};
    int32_t range = 0;        // distance in metres; -1 unknown
    int32_t networkType = 0;  // LinkType of the link it was met on
    DmAuthForm authForm = INVALID_TYPE;
    std::string extraData;  // JSON object: {"online": bool, "last_seen": RFC 3339}
};

class DmInitCallback {
public:
    virtual ~DmInitCallback() = default;
    // The device manager went away. On a platform thread.
    virtual void OnRemoteDied() = 0;
};

// What stands behind DeviceManager: the object registered as 4802. Same contracts.
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

    // Registers a package; its callback is kept until the package registers another or the device manager goes away.
    int32_t InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback);
    // The devices that are online now. extra is not used and may be empty.
    int32_t GetTrustedDeviceList(const std::string& pkgName, const std::string& extra,
                                 std::vector<DmDeviceInfo>& deviceList);
    // True for a known device: its certificate was verified as this account's when it was met, in this run of the
    // daemon or an earlier one. No I/O.
    bool IsSameAccount(const std::string& networkId);

private:
    DeviceManager() = default;
};

}  // namespace Vexo::DistributedHardware
