// The configuration of distnetd: one JSON file that is read once at start. docs/configuration.md lists its keys. An
// unknown key, a wrong type or a value out of range is a fault. The message of a fault names the file, the key and the
// allowed values. Relative paths start at the folder of the file. Any thread may use the value types and functions,
// which keep no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/sharing/sharing_settings.h"
#include "interfaces/host_answers.h"
#include "platform/dfx/log.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Host {

inline constexpr size_t MAX_DEVICE_NAME = 64;  // maximum length in bytes

struct Configuration {
    std::string platform;              // "platform": "linux" or "simulated"; empty: detected at start
    std::filesystem::path stateDir;    // "state_dir": required
    std::string deviceName;            // "device.name": default: the host name
    DeviceType deviceType{};           // "device.type": "phone", "tablet", "laptop" or "unknown"
    std::filesystem::path ipcSocket;   // "ipc.socket": default STATE_DIR/ipc.sock
    uint32_t ipcSocketMode = 0666;     // "ipc.socket_mode": octal text, "0600" to "0666"
    uint32_t ipcUserConnections = 64;  // "ipc.user_connections": limit for each user except root
    uint32_t ipcUserRequests = 32;     // "ipc.user_requests": limit of running requests for each user except root
    std::string softbusListen = "127.0.0.1";  // "softbus.listen": an address of this machine
    uint16_t softbusPort = 0;                 // "softbus.port": 0 picks a free one
    std::vector<std::string> softbusPeers;    // "softbus.peers": "host:port" each
    bool dnsSd = true;                        // "softbus.dns_sd": used on the platform linux only
    bool bluetooth = true;                    // "bluetooth.enabled": used on the platform linux only
    std::string bluetoothAdapter;        // "bluetooth.adapter": such as "hci1"; empty: the first adapter that is on
    std::string bluetoothBus;            // "bluetooth.bus": the bus of BlueZ; empty: linuxBus
    std::filesystem::path announceDir;   // "softbus.announce_dir": empty: no announcements through a folder
    std::filesystem::path accessPolicy;  // "access.policy": empty: the shipped default
    // "config_policy.roots": lowest priority first
    std::vector<std::filesystem::path> policyRoots{"/usr/share/distnet", "/etc/distnet"};
    std::filesystem::path airDir;                             // "simulated.air_dir": default STATE_DIR/air
    std::string linuxBus;                                     // "linux.bus": empty: the system bus
    Wifi::KeyMgmt hotspotSecurity = Wifi::KeyMgmt::WPA2_PSK;  // "hotspot.security": "wpa2", "wpa3" or "open"
    std::string hotspotBand;                                  // "hotspot.band": "bg" or "a"; empty: the driver's choice
    uint32_t hotspotChannel = 0;                              // "hotspot.channel": 0: the driver's choice
    uint32_t hotspotIdleS = 300;                              // "hotspot.idle_s": seconds
    uint32_t hotspotIdleNoUplinkS = 60;                       // "hotspot.idle_no_uplink_s": seconds
    SharingSettings sharing;                                  // "share.…"
    std::filesystem::path serviceLibrary;  // "service.library": default: beside the program or in ../lib
    QuviewDFX::LogLevel logLevel = QuviewDFX::LogLevel::INFO;  // "log.level": "debug", "info", "warning" or "error"
    std::filesystem::path eventsFile;                          // "events.file": default STATE_DIR/events.jsonl
    uint64_t eventsMaxBytes = 1024 * 1024;                     // "events.max_bytes": maximum size of each file
    uint32_t eventsFiles = 4;  // "events.files": number of files, including the current one
};

// The result of reading a configuration file. The member `configuration` is valid only if there are no faults. Each
// fault is one message, such as "distnetd.json: softbus.port: 70000 is out of range (0 to 65535; …)".
struct ConfigurationResult {
    Configuration configuration;
    std::vector<std::string> faults;
};

// One key of the configuration file, as --help and docs/configuration.md show it.
struct ConfigurationKey {
    std::string name;      // such as "softbus.port"
    std::string allowed;   // such as "0 to 65535; 0 picks a free port"
    std::string fallback;  // the default value, or "required"
    std::string meaning;
};

// Returns every key, in the order of docs/configuration.md.
std::vector<ConfigurationKey> ConfigurationKeys();

// Reads and parses the file. A file that is missing, unreadable or too large is a fault. Blocks on the disk.
ConfigurationResult LoadConfiguration(const std::filesystem::path& file);
// Parses the text of a configuration file. file: the path of that file. The faults name this path, and relative paths
// in the text start at its folder.
ConfigurationResult ParseConfiguration(const std::string& json, const std::filesystem::path& file);

}  // namespace Vexo::Host
