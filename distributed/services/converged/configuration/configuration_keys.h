// The paths of device.json and scenario.json below the folders of the configuration policy, and the keys in these
// files.
#pragma once

namespace Vexo::NetManagerStandard {

inline constexpr const char* DEVICE_CONFIG_PATH = "etc/communication/network_connectivity_ext/device.json";
inline constexpr const char* SCENARIO_CONFIG_PATH = "etc/communication/network_connectivity_ext/scenario.json";

inline constexpr const char* KEY_DEVICE = "device";
inline constexpr const char* KEY_SCENARIO = "scenario";
inline constexpr const char* KEY_DEVICE_CAPS = "deviceCaps";
inline constexpr const char* KEY_TYPE = "type";
inline constexpr const char* KEY_NAME = "name";  // the service does not read this key, but a log line names it
inline constexpr const char* KEY_USE_NETWORK = "use_network";
inline constexpr const char* KEY_PROVIDE_NETWORK = "provide_network";
inline constexpr const char* KEY_SCREEN_OFF_TIME = "screen_off_auto_close_time";
// KEY_VERSION and KEY_SET are part of the file format, but the service does not read these keys.
inline constexpr const char* KEY_VERSION = "version";
inline constexpr const char* KEY_SET = "set";

}  // namespace Vexo::NetManagerStandard
