// ConfigurationCenterManager: the process-wide configuration center. It owns the parser that the last
// InitConfigurationCenter filled, and reads the settings from this parser. Any thread. Operations:
// configuration_center_interface.h.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "distributed/services/converged/configuration/configuration_center_interface.h"
#include "distributed/services/converged/configuration/configuration_parser.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo::Tests {
class ConfigurationCenterAccess;
}

namespace Vexo::NetManagerStandard {

class ConfigurationCenterManager : public ConfigurationCenterInterface {
public:
    // Lives as long as the process.
    static std::shared_ptr<ConfigurationCenterManager> GetInstance();

    bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork) override;
    bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime) override;
    ~ConfigurationCenterManager() override = default;
    int32_t InitConfigurationCenter() override;

private:
    friend class Tests::ConfigurationCenterAccess;  // sets a filled parser; loading files cannot fill one

    std::shared_ptr<ConfigurationParser> Parser();

    Mutex parserMutex_;                                                     // not held while other code is called
    std::shared_ptr<ConfigurationParser> parser_ GUARDED_BY(parserMutex_);  // not changed once stored

    static NeverDestroyed<std::shared_ptr<ConfigurationCenterManager>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
