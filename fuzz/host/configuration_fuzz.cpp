// Fuzzes the parser of distnetd's configuration.
#include "host/configuration.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Host {
namespace {

std::vector<std::string> Samples()
{
    return {R"({"state_dir": "/var/lib/distnet", "device": {"name": "phone"}})",
            R"({"state_dir": "state", "device": {"name": "tablet", "type": "tablet"},
                "ipc": {"socket": "ipc.sock", "socket_mode": "0660"}, "config_policy": {"roots": ["/etc/distnet"]},
                "softbus": {"listen": "127.0.0.1", "port": 4000, "peers": ["localhost:4001"], "dns_sd": false, "announce_dir": "a"},
                "access": {"policy": "access.json"}, "simulated": {"air_dir": "air"}, "log": {"level": "debug"}})"};
}

bool Run(std::string_view input)
{
    const auto [configuration, faults] = ParseConfiguration(std::string(input), "/etc/distnetd.json");
    for (const std::string& fault : faults) {
        Fuzz::Require(fault.starts_with("/etc/distnetd.json:"), "a fault names the file");
    }
    if (!faults.empty()) {
        return false;
    }
    Fuzz::Require(!configuration.deviceName.empty() && configuration.deviceName.size() <= 64,
                  "a device name has 1 to 64 bytes");
    Fuzz::Require(configuration.ipcSocketMode >= 0600 && configuration.ipcSocketMode <= 0666,
                  "a socket mode is in its range");
    for (const auto& path : {configuration.stateDir, configuration.ipcSocket, configuration.airDir}) {
        Fuzz::Require(path.is_absolute(), "paths start from the file's folder");
    }
    for (const std::string& peer : configuration.softbusPeers) {
        Fuzz::Require(peer.find(':') != std::string::npos, "a peer has a port");
    }
    return true;
}

const Fuzz::Registration REGISTRATION({"host_configuration", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
