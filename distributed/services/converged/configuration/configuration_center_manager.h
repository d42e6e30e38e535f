// ConfigurationCenterManager: the process-wide configuration center. Each InitConfigurationCenter fills a new parser.
// The manager keeps the newest parser and reads the settings from it. Any thread may call the manager. Operations:
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
    // Returns the only object, which lives as long as the process.
    static std::shared_ptr<ConfigurationCenterManager> GetInstance();

    bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork) override;
    bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime) override;
    ~ConfigurationCenterManager() override = default;
    int32_t InitConfigurationCenter() override;

private:
    friend class Tests::ConfigurationCenterAccess;  // sets a filled parser, because loading files cannot fill one

    std::shared_ptr<ConfigurationParser> Parser();

    Mutex parserMutex_;                                                     // not held during calls to other classes
    std::shared_ptr<ConfigurationParser> parser_ GUARDED_BY(parserMutex_);  // a stored parser does not change

    static NeverDestroyed<std::shared_ptr<ConfigurationCenterManager>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
