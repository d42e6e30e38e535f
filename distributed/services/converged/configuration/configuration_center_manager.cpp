#include "distributed/services/converged/configuration/configuration_center_manager.h"

#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"

namespace Vexo::NetManagerStandard {

NeverDestroyed<std::shared_ptr<ConfigurationCenterManager>> ConfigurationCenterManager::instance_;
Mutex ConfigurationCenterManager::instanceLock_;
std::atomic<bool> ConfigurationCenterManager::isInstanceCreated_{false};

std::shared_ptr<ConfigurationCenterInterface> ConfigurationCenterInterface::GetInstance()
{
    return ConfigurationCenterManager::GetInstance();
}

std::shared_ptr<ConfigurationCenterManager> ConfigurationCenterManager::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceLock_, isInstanceCreated_);
}

int32_t ConfigurationCenterManager::InitConfigurationCenter()
{
    NETMGR_EXT_LOGI(" Init ConfigurationCenter.");
    auto parser = std::make_shared<ConfigurationParser>();
    const bool isLoaded = parser->LoadConfiguration();
    {
        // Other threads can read the parser as soon as it is stored, so it is stored only after LoadConfiguration has
        // filled it. A parser is stored even if LoadConfiguration failed.
        const MutexLock guard(parserMutex_);
        parser_.swap(parser);
    }
    return isLoaded ? DISTNET_SUCCESS : DISTNET_ERR_CONFIGURATION_CENTER;
}

bool ConfigurationCenterManager::GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork,
                                                     bool& isProvideNetwork)
{
    return Parser()->GetDeviceNetFeature(deviceType, isUseNetwork, isProvideNetwork);
}

bool ConfigurationCenterManager::GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime)
{
    return Parser()->GetDeviceNetOffTime(deviceType, netOffTime);
}

std::shared_ptr<ConfigurationParser> ConfigurationCenterManager::Parser()
{
    const MutexLock guard(parserMutex_);
    return parser_;
}

}  // namespace Vexo::NetManagerStandard
