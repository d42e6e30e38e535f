// ConfigurationParser: the settings of this device's types, from device.json (does a type use the shared network, does
// it provide it) and scenario.json (how long after the screen goes off its shared network closes). Filled by one
// thread, then read by any. Everything that fails is logged and false. Formats: docs/files.md. Owner:
// configuration_center_manager.h.
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
    // Whether both files could be loaded and parsed. Blocks on the disk. The loader hands no document over
    // (distributed_json_util.h), so the parse finds nothing: false also for good files, and no type is known
    // afterwards. To parse a document, hand it to the operations below.
    bool LoadConfiguration();

    // The root of device.json; false without its "device" object. Of two elements of one type the first holds.
    bool ParseDeviceConfig(const cJSON* root);
    // The root of scenario.json; false without its "scenario" object and the "deviceCaps" array inside.
    bool ParseScenarioConfig(const cJSON* root);
    // The elements of a "deviceCaps" array; a bad one is skipped. Keys are matched without regard to case in
    // device.json and exactly in scenario.json.
    void ParseDeviceCapsOfDevice(const cJSON* deviceCaps);
    void ParseDeviceCapsOfScenario(const cJSON* deviceCaps);
    void ClearConfig();

    // Both write only on success.
    bool GetDeviceNetFeature(const std::string& deviceType, bool& isUseNetwork, bool& isProvideNetwork);
    // In milliseconds. A time of 0 counts as none: false.
    bool GetDeviceNetOffTime(const std::string& deviceType, int& netOffTime);

private:
    std::unordered_map<std::string, std::shared_ptr<const DeviceConfigInfo>> deviceInfoConf_;  // by device type
    std::unordered_map<std::string, int32_t> scenarioInfoConf_;                                // by device type
};

}  // namespace Vexo::NetManagerStandard
