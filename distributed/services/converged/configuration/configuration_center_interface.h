// ConfigurationCenterInterface: the one door through which the service reads its settings. Any thread. What is behind
// it: configuration_center_manager.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Vexo::NetManagerStandard {

class ConfigurationCenterInterface {
public:
    // Look-ups in memory, after an InitConfigurationCenter. False for an unknown device type; the outputs are written
    // only on success. The time is in milliseconds.
    virtual bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork) = 0;
    virtual bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime) = 0;

    virtual ~ConfigurationCenterInterface() = default;

    // Reads the configuration files anew; blocks on the disk. 0 or DISTNET_ERR_CONFIGURATION_CENTER.
    virtual int32_t InitConfigurationCenter() = 0;

    static std::shared_ptr<ConfigurationCenterInterface> GetInstance();
};

}  // namespace Vexo::NetManagerStandard
