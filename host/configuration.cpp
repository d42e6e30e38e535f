#include "host/configuration.h"

#include <sys/un.h>
#include <unistd.h>

#include <array>

#include "host/configuration_keys.h"
#include "platform/base/files.h"

namespace Vexo::Host {
namespace {

constexpr size_t MAX_CONFIGURATION_BYTES = 64 * 1024;

// Fills in the defaults that depend on other keys or on the machine.
void FillDerived(Configuration& configuration)
{
    const auto fill = [&](std::filesystem::path& path, const char* name) {
        if (path.empty()) {
            path = configuration.stateDir / name;
        }
    };
    fill(configuration.ipcSocket, "ipc.sock");
    fill(configuration.airDir, "air");
    fill(configuration.eventsFile, "events.jsonl");
    if (configuration.deviceName.empty()) {
        std::array<char, MAX_DEVICE_NAME + 1> name{};
        const bool named = gethostname(name.data(), name.size() - 1) == 0 && name.front() != '\0';
        configuration.deviceName = named ? name.data() : "device";
    }
}

// Returns the faults of values that are each allowed but do not fit together. Each fault has the form "KEY: FAULT".
std::vector<std::string> CombinedFaults(const Configuration& configuration)
{
    std::vector<std::string> faults;
    if (configuration.hotspotChannel != 0 && configuration.hotspotBand.empty()) {
        faults.emplace_back("hotspot.channel: a channel needs its band (set \"hotspot.band\" too)");
    }
    constexpr size_t socketPathLimit = sizeof(sockaddr_un::sun_path) - 1;
    if (const size_t length = configuration.ipcSocket.string().size(); length > socketPathLimit) {
        faults.push_back("ipc.socket: the path has " + std::to_string(length) + " bytes (at most " +
                         std::to_string(socketPathLimit) + "; set a shorter one, or a shorter \"state_dir\")");
    }
    return faults;
}

}  // namespace

std::vector<ConfigurationKey> ConfigurationKeys()
{
    std::vector<ConfigurationKey> keys;
    const JsonKeys<Configuration> table = ConfigurationTable({});
    for (const JsonKey& key : table.Keys()) {
        keys.push_back({key.name, key.shape->allowed, key.isRequired ? "required" : key.fallback, key.meaning});
    }
    return keys;
}

ConfigurationResult LoadConfiguration(const std::filesystem::path& file)
{
    const Result<std::string> text = ReadWholeFile(file, MAX_CONFIGURATION_BYTES);
    if (!text) {
        return {{}, {text.error().message}};
    }
    return ParseConfiguration(text.value(), file);
}

ConfigurationResult ParseConfiguration(const std::string& json, const std::filesystem::path& file)
{
    ConfigurationResult result;
    result.faults = ConfigurationTable(file.parent_path()).Read(json, file.string(), result.configuration);
    FillDerived(result.configuration);
    for (const std::string& fault : CombinedFaults(result.configuration)) {
        result.faults.push_back(file.string() + ": " + fault);
    }
    return result;
}

}  // namespace Vexo::Host
