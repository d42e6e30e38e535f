// ConfigurationParser: the settings of each device type. device.json says whether the type uses and provides the shared
// network; scenario.json says how long after the screen goes off the shared network closes. One thread fills the
// object; afterwards any thread may read it. Functions that fail log the failure and return false. File formats:
// docs/files.md. Owner: configuration_center_manager.h.
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
    // Loads and parses both files. Blocks on the disk. The loader does not return the documents
    // (distributed_json_util.h): so LoadConfiguration returns false also for valid files, and knows no device type
    // afterwards. To parse a document, pass it to the functions below.
    bool LoadConfiguration();

    // Parses the root of device.json. Returns false if the root has no "device" object. If two elements have the same
    // type, the first one is used.
    bool ParseDeviceConfig(const cJSON* root);
    // Parses the root of scenario.json. Returns false if the root has no "scenario" object, or if this object has no
    // "deviceCaps" array.
    bool ParseScenarioConfig(const cJSON* root);
    // Parse the elements of a "deviceCaps" array; invalid elements are skipped. The keys of elements are
    // case-insensitive in device.json and case-sensitive in scenario.json.
    void ParseDeviceCapsOfDevice(const cJSON* deviceCaps);
    void ParseDeviceCapsOfScenario(const cJSON* deviceCaps);
    void ClearConfig();

    // The two getters write their outputs only on success.
    bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork);
    // netOffTime is in milliseconds. Returns false also if the configured time is 0.
    bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime);

private:
    std::unordered_map<std::string, std::shared_ptr<const DeviceConfigInfo>> deviceInfoConf_;  // by device type
    std::unordered_map<std::string, int32_t> scenarioInfoConf_;                                // by device type
};

}  // namespace Vexo::NetManagerStandard
