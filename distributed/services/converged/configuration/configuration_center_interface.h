// ConfigurationCenterInterface: the service reads its settings only through this interface. Thread-safe.
// Implementation: configuration_center_manager.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Vexo::NetManagerStandard {

class ConfigurationCenterInterface {
public:
    // Call GetDeviceNetFeature and GetDeviceNetOffTime only after InitConfigurationCenter. They do not block. They
    // return false if the device type is unknown, and write their outputs only on success. GetDeviceNetOffTime returns
    // a time in milliseconds.
    virtual bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork) = 0;
    virtual bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime) = 0;

    virtual ~ConfigurationCenterInterface() = default;

    // Reads the configuration files, also if they were read before. Blocks while it reads from the disk. Returns 0 or
    // DISTNET_ERR_CONFIGURATION_CENTER.
    virtual int32_t InitConfigurationCenter() = 0;

    static std::shared_ptr<ConfigurationCenterInterface> GetInstance();
};

}  // namespace Vexo::NetManagerStandard
