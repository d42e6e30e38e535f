// ConfigurationParser: the settings of each device type. The file device.json says whether a device type uses and
// provides the shared network. The file scenario.json says how long after screen off the shared network closes. One
// thread fills the object. Afterwards any thread may read it. A function that fails returns false and logs the failure.
// File formats: docs/files.md. Owner: configuration_center_manager.h.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace Vexo::NetManagerStandard {

struct DeviceConfigInfo {
    bool isUseNetwork = false;
    bool isProvideNetwork = false;
};

class ConfigurationParser {
public:
    // Loads and parses both files. Blocks while it reads from the disk. Always returns false, also for valid files,
    // because the loader in distributed_json_util.h does not return the documents. Afterwards the parser knows no
    // device type. To parse a document, pass it to ParseDeviceConfig or ParseScenarioConfig.
    bool LoadConfiguration();

    // Parses the root of device.json. Returns false if the root has no "device" object. If two elements of its
    // "deviceCaps" array have the same type, uses the first one.
    bool ParseDeviceConfig(const cJSON* root);
    // Parses the root of scenario.json. Returns false if the root has no "scenario" object, or if this object has no
    // "deviceCaps" array.
    bool ParseScenarioConfig(const cJSON* root);
    // ParseDeviceCapsOfDevice and ParseDeviceCapsOfScenario parse the elements of a "deviceCaps" array and skip invalid
    // elements. In device.json, the keys of the elements may have upper or lower case. In scenario.json, the case must
    // match.
    void ParseDeviceCapsOfDevice(const cJSON* deviceCaps);
    void ParseDeviceCapsOfScenario(const cJSON* deviceCaps);
    void ClearConfig();

    // GetDeviceNetFeature and GetDeviceNetOffTime write their outputs only on success.
    bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork);
    // Sets netOffTime to the configured time in milliseconds. Returns false also if the configured time is 0.
    bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime);

private:
    std::unordered_map<std::string, std::shared_ptr<const DeviceConfigInfo>> deviceInfoConf_;  // key: device type
    std::unordered_map<std::string, int32_t> scenarioInfoConf_;                                // key: device type
};

}  // namespace Vexo::NetManagerStandard
