#include "distributed/services/converged/configuration/configuration_parser.h"

#include "distributed/services/converged/configuration/configuration_keys.h"
#include "distributed/services/converged/configuration/distributed_json_util.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/base/json.h"

namespace Vexo::NetManagerStandard {
namespace {

void LogMissing(const char* key)
{
    NETMGR_EXT_LOGE(" Did't define %{public}s in json.", key);
}

bool IsLiteralTrue(const cJSON* element, const char* key)
{
    return cJSON_IsTrue(cJSON_GetObjectItem(element, key)) != 0;
}

}  // namespace

bool ConfigurationParser::LoadConfiguration()
{
    const Json deviceJson;
    if (!DistributedJsonUtil::LoadJsonObjFromTarselPath(deviceJson.get(), DEVICE_CONFIG_PATH)) {
        NETMGR_EXT_LOGE(" Load device config failed.");
        return false;
    }
    const Json scenarioJson;
    if (!DistributedJsonUtil::LoadJsonObjFromTarselPath(scenarioJson.get(), SCENARIO_CONFIG_PATH)) {
        NETMGR_EXT_LOGE(" Load scenario config failed.");
        return false;
    }
    // LoadJsonObjFromTarselPath takes the cJSON pointer by value, so deviceJson and scenarioJson are still null.
    // Therefore both parse functions fail.
    bool isParsed = true;
    if (!ParseDeviceConfig(deviceJson.get())) {
        NETMGR_EXT_LOGE(" Parse device config failed.");
        isParsed = false;
    }
    if (!ParseScenarioConfig(scenarioJson.get())) {
        NETMGR_EXT_LOGE(" Parse scenario config failed.");
        isParsed = false;
    }
    return isParsed;
}

bool ConfigurationParser::ParseDeviceConfig(const cJSON* root)
{
    cJSON* device = nullptr;
    if (!DistributedJsonUtil::GetObjFromJsonObj(root, KEY_DEVICE, &device)) {
        LogMissing(KEY_DEVICE);
        return false;
    }
    cJSON* deviceCaps = nullptr;
    if (DistributedJsonUtil::GetArrayFromJsonObj(device, KEY_DEVICE_CAPS, &deviceCaps)) {
        ParseDeviceCapsOfDevice(deviceCaps);
    }
    return true;
}

bool ConfigurationParser::ParseScenarioConfig(const cJSON* root)
{
    cJSON* scenario = nullptr;
    if (!DistributedJsonUtil::GetObjFromJsonObj(root, KEY_SCENARIO, &scenario)) {
        LogMissing(KEY_SCENARIO);
        return false;
    }
    cJSON* deviceCaps = nullptr;
    if (!DistributedJsonUtil::GetArrayFromJsonObj(scenario, KEY_DEVICE_CAPS, &deviceCaps)) {
        LogMissing(KEY_DEVICE_CAPS);
        return false;
    }
    ParseDeviceCapsOfScenario(deviceCaps);
    return true;
}

void ConfigurationParser::ParseDeviceCapsOfDevice(const cJSON* deviceCaps)
{
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, deviceCaps)
    {
        const char* type = cJSON_GetStringValue(cJSON_GetObjectItem(element, KEY_TYPE));
        if (type == nullptr) {
            // The log line says "name", although the missing key is "type".
            LogMissing(KEY_NAME);
            continue;
        }
        deviceInfoConf_.try_emplace(
            type, std::make_shared<const DeviceConfigInfo>(DeviceConfigInfo{
                      IsLiteralTrue(element, KEY_USE_NETWORK), IsLiteralTrue(element, KEY_PROVIDE_NETWORK)}));
    }
}

void ConfigurationParser::ParseDeviceCapsOfScenario(const cJSON* deviceCaps)
{
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, deviceCaps)
    {
        std::string type;
        if (!DistributedJsonUtil::GetStringFromJsonObj(element, KEY_TYPE, type)) {
            LogMissing(KEY_NAME);
            continue;
        }
        int32_t closeTime = 0;
        if (!DistributedJsonUtil::GetIntFromJsonObj(element, KEY_SCREEN_OFF_TIME, &closeTime)) {
            LogMissing(KEY_SCREEN_OFF_TIME);
            continue;
        }
        scenarioInfoConf_.try_emplace(type, closeTime);
    }
}

void ConfigurationParser::ClearConfig()
{
    deviceInfoConf_.clear();
    scenarioInfoConf_.clear();
}

bool ConfigurationParser::GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork)
{
    const auto it = deviceInfoConf_.find(deviceType);
    if (it == deviceInfoConf_.end()) {
        NETMGR_EXT_LOGI(" Can't find %{public}s's config.", deviceType);
        return false;
    }
    if (it->second == nullptr) {
        NETMGR_EXT_LOGI(" deviceInfoConf_ iter is nullptr");
        return false;
    }
    isUseNetwork = it->second->isUseNetwork;
    isProvideNetwork = it->second->isProvideNetwork;
    return true;
}

bool ConfigurationParser::GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime)
{
    const auto it = scenarioInfoConf_.find(deviceType);
    if (it == scenarioInfoConf_.end()) {
        NETMGR_EXT_LOGI(" Can't find %{public}s's config.", deviceType);
        return false;
    }
    if (it->second == 0) {
        // A configured time of 0 means that no time is set.
        NETMGR_EXT_LOGI(" scenarioInfoConf_ iter is nullptr");
        return false;
    }
    netOffTime = it->second;
    return true;
}

}  // namespace Vexo::NetManagerStandard
