#include "host/configuration_keys.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>

#include "host/named_values.h"
#include "platform/dfx/event_file.h"

namespace Vexo::Host {
namespace {

namespace fs = std::filesystem;

constexpr size_t MAX_DEVICE_NAME = 64;
constexpr size_t MAX_HOST_NAME = 253;
constexpr const char* IS_NO_TEXT = "is not a text";
constexpr const char* IS_NO_VALUE = "is none of its values";
constexpr const char* IS_NO_LIST = "is not a list of texts";

template <typename Value, size_t count>
std::string ApplyNamed(const cJSON& value, const NamedValue<Value> (&names)[count], Value& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    for (const NamedValue<Value>& named : names) {
        if (std::string_view(named.name) == value.valuestring) {
            out = named.value;
            return {};
        }
    }
    return IS_NO_VALUE;
}

std::string ApplyPath(const cJSON& value, const fs::path& folder, fs::path& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    if (value.valuestring[0] == '\0') {
        return "is empty";
    }
    out = folder / value.valuestring;
    return {};
}

bool IsAddress(const std::string& text)
{
    in6_addr parsed{};
    return inet_pton(AF_INET, text.c_str(), &parsed) == 1 || inet_pton(AF_INET6, text.c_str(), &parsed) == 1;
}

bool IsHostName(std::string_view text)
{
    return !text.empty() && text.size() <= MAX_HOST_NAME && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
               c == '_';
    });
}

// "192.0.2.7:4700", "[2001:db8::7]:4700" or "phone.example:4700".
bool IsHostAndPort(std::string_view text)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    const std::string_view host = text.substr(0, colon);
    const std::string_view port = text.substr(colon + 1);
    const bool bracketed = host.starts_with('[') && host.ends_with(']');
    if (bracketed ? !IsAddress(std::string(host.substr(1, host.size() - 2))) : !IsHostName(host)) {
        return false;
    }
    uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    return error == std::errc() && end == port.data() + port.size() && number != 0;
}

std::string ApplyPlatform(const cJSON& value, const fs::path&, Configuration& out)
{
    static const NamedValue<std::string> names[] = {{"linux", "linux"}, {"simulated", "simulated"}};
    return ApplyNamed(value, names, out.platform);
}

std::string ApplyDeviceName(const cJSON& value, const fs::path&, Configuration& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    const std::string_view name = value.valuestring;
    if (name.empty() || name.size() > MAX_DEVICE_NAME) {
        return "has " + std::to_string(name.size()) + " bytes";
    }
    if (std::any_of(name.begin(), name.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; })) {
        return "has control characters";
    }
    out.deviceName = name;
    return {};
}

std::string ApplyDeviceType(const cJSON& value, const fs::path&, Configuration& out)
{
    return ApplyNamed(value, DEVICE_TYPE_NAMES, out.deviceTypeId);
}

std::string ApplySocketMode(const cJSON& value, const fs::path&, Configuration& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    const std::string_view text = value.valuestring;
    uint32_t mode = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
    if (error != std::errc() || end != text.data() + text.size()) {
        return "is not an octal number";
    }
    // The owner must reach the socket, and a socket is read and written, never executed.
    if (mode < 0600 || mode > 0666 || (mode & 0111) != 0) {
        return "is out of range";
    }
    out.ipcSocketMode = mode;
    return {};
}

std::string ApplyListen(const cJSON& value, const fs::path&, Configuration& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    if (!IsAddress(value.valuestring)) {
        return "is not an IP address";
    }
    out.softbusListen = value.valuestring;
    return {};
}

template <auto member, uint64_t least, uint64_t most>
std::string ApplyNumber(const cJSON& value, const fs::path&, Configuration& out)
{
    if (!cJSON_IsNumber(&value)) {
        return "is not a number";
    }
    if (std::trunc(value.valuedouble) != value.valuedouble) {
        return "is not a whole number";
    }
    if (value.valuedouble < static_cast<double>(least) || value.valuedouble > static_cast<double>(most)) {
        return "is out of range";
    }
    out.*member = static_cast<std::remove_reference_t<decltype(out.*member)>>(value.valuedouble);
    return {};
}

// Nullopt unless the value is a list of texts that are not empty.
std::optional<std::vector<std::string>> TextsOf(const cJSON& value)
{
    if (!cJSON_IsArray(&value)) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    for (const cJSON* entry = value.child; entry != nullptr; entry = entry->next) {
        if (!cJSON_IsString(entry) || entry->valuestring[0] == '\0') {
            return std::nullopt;
        }
        texts.emplace_back(entry->valuestring);
    }
    return texts;
}

std::string ApplyPeers(const cJSON& value, const fs::path&, Configuration& out)
{
    std::optional<std::vector<std::string>> peers = TextsOf(value);
    if (!peers) {
        return IS_NO_LIST;
    }
    for (const std::string& peer : *peers) {
        if (!IsHostAndPort(peer)) {
            return "holds \"" + peer + "\", which is not a host and a port";
        }
    }
    out.softbusPeers = std::move(*peers);
    return {};
}

std::string ApplyPolicyRoots(const cJSON& value, const fs::path& folder, Configuration& out)
{
    const std::optional<std::vector<std::string>> roots = TextsOf(value);
    if (!roots) {
        return IS_NO_LIST;
    }
    out.policyRoots.clear();
    for (const std::string& root : *roots) {
        out.policyRoots.push_back(folder / root);
    }
    return {};
}

std::string ApplyLinuxBus(const cJSON& value, const fs::path&, Configuration& out)
{
    if (!cJSON_IsString(&value)) {
        return IS_NO_TEXT;
    }
    const std::string_view address = value.valuestring;
    if (address.find(':') == std::string_view::npos || address.find('=') == std::string_view::npos) {
        return "is not a D-Bus address";
    }
    out.linuxBus = address;
    return {};
}

std::string ApplyHotspotSecurity(const cJSON& value, const fs::path&, Configuration& out)
{
    static constexpr NamedValue<Wifi::KeyMgmt> names[] = {
        {"wpa2", Wifi::KeyMgmt::WPA2_PSK}, {"wpa3", Wifi::KeyMgmt::SAE}, {"open", Wifi::KeyMgmt::NONE}};
    return ApplyNamed(value, names, out.hotspotSecurity);
}

std::string ApplyHotspotBand(const cJSON& value, const fs::path&, Configuration& out)
{
    static const NamedValue<std::string> names[] = {{"any", ""}, {"2.4 GHz", "bg"}, {"5 GHz", "a"}};
    return ApplyNamed(value, names, out.hotspotBand);
}

std::string ApplyLogLevel(const cJSON& value, const fs::path&, Configuration& out)
{
    using QuviewDFX::LogLevel;
    static constexpr NamedValue<LogLevel> names[] = {
        {"debug", LogLevel::DEBUG}, {"info", LogLevel::INFO}, {"warning", LogLevel::WARN}, {"error", LogLevel::ERROR}};
    return ApplyNamed(value, names, out.logLevel);
}

template <fs::path Configuration::*member>
std::string ApplyPathTo(const cJSON& value, const fs::path& folder, Configuration& out)
{
    return ApplyPath(value, folder, out.*member);
}

constexpr KeyRule KEY_RULES[] = {
    {{"platform", "\"linux\" or \"simulated\"", "\"linux\" where NetworkManager answers, else \"simulated\"",
      "whose radios, SIMs, screen and battery the device has: this machine's, or simulated ones"},
     ApplyPlatform},
    {{"state_dir", "a path", REQUIRED_KEY, "the device's own folder: identity, state, lock; created when missing"},
     ApplyPathTo<&Configuration::stateDir>},
    {{"device.name", "1 to 64 bytes, no control characters", "the machine's host name",
      "what other devices call this one"},
     ApplyDeviceName},
    {{"device.type", "\"phone\", \"tablet\", \"laptop\" or \"unknown\"", "\"unknown\"", "what kind of device it is"},
     ApplyDeviceType},
    {{"ipc.socket", "a path of at most 107 bytes", "STATE_DIR/ipc.sock", "where local programs connect"},
     ApplyPathTo<&Configuration::ipcSocket>},
    {{"ipc.socket_mode", "octal text, \"0600\" to \"0666\"", "\"0666\"",
      "who may connect; what they may do is the access policy's"},
     ApplySocketMode},
    {{"ipc.user_connections", "1 to 4096", "64",
      "how many connections the programs of a user other than root may have; further ones are closed"},
     ApplyNumber<&Configuration::ipcUserConnections, 1, 4096>},
    {{"ipc.user_requests", "1 to 256", "32",
      "how many requests of such a user run at once; further ones wait for these"},
     ApplyNumber<&Configuration::ipcUserRequests, 1, 256>},
    {{"softbus.listen", "an IPv4 or IPv6 address", "\"127.0.0.1\"", "the address where peers reach this device"},
     ApplyListen},
    {{"softbus.port", "0 to 65535; 0 picks a free port", "0", "the TCP port where peers reach this device"},
     ApplyNumber<&Configuration::softbusPort, 0, UINT16_MAX>},
    {{"softbus.peers", "a list of \"HOST:PORT\", port 1 to 65535, IPv6 in brackets", "[]",
      "where to look for devices of the account"},
     ApplyPeers},
    {{"softbus.announce_dir", "a path", "no announcements",
      "a folder shared by devices that announce themselves there"},
     ApplyPathTo<&Configuration::announceDir>},
    {{"access.policy", "a path", "the shipped policy", "which users and groups may use the daemon"},
     ApplyPathTo<&Configuration::accessPolicy>},
    {{"config_policy.roots", "a list of paths", "[\"/usr/share/distnet\", \"/etc/distnet\"]",
      "where the service's own configuration files are found, lowest priority first"},
     ApplyPolicyRoots},
    {{"simulated.air_dir", "a path", "STATE_DIR/air", "the air that simulated radios share"},
     ApplyPathTo<&Configuration::airDir>},
    {{"linux.bus", "a D-Bus address, \"unix:path=…\"", "the system bus", "where this machine's daemons answer"},
     ApplyLinuxBus},
    {{"hotspot.security", "\"wpa2\", \"wpa3\" or \"open\"", "\"wpa2\"",
      "how a hotspot is secured that the daemon makes because the user has none"},
     ApplyHotspotSecurity},
    {{"hotspot.band", "\"any\", \"2.4 GHz\" or \"5 GHz\"", "\"any\"",
      "where such a hotspot is; any: the driver's choice"},
     ApplyHotspotBand},
    {{"hotspot.channel", "0 to 196; 0: the driver's choice; else only with \"hotspot.band\"", "0",
      "the channel of such a hotspot"},
     ApplyNumber<&Configuration::hotspotChannel, 0, 196>},
    {{"hotspot.idle_s", "10 to 86400", "300",
      "after how many seconds without a station a hotspot is turned off that the daemon turned on"},
     ApplyNumber<&Configuration::hotspotIdleS, 10, 86'400>},
    {{"hotspot.idle_no_uplink_s", "10 to 86400", "60", "the same, while the hotspot leads nowhere"},
     ApplyNumber<&Configuration::hotspotIdleNoUplinkS, 10, 86'400>},
    {{"service.library", "a path", "libdistnet_service.so beside distnetd or in ../lib",
      "the service, loaded on demand"},
     ApplyPathTo<&Configuration::serviceLibrary>},
    {{"log.level", "\"debug\", \"info\", \"warning\" or \"error\"", "\"info\"", "log lines below it are not written"},
     ApplyLogLevel},
    {{"events.file", "a path", "STATE_DIR/events.jsonl", "system events, one JSON object a line"},
     ApplyPathTo<&Configuration::eventsFile>},
    {{"events.max_bytes", "65536 to 1073741824", "1048576",
      "the size at which the events file is renamed to FILE.1, and FILE.1 to FILE.2"},
     ApplyNumber<&Configuration::eventsMaxBytes, 65'536, 1'073'741'824>},
    {{"events.files", "1 to 100", "4", "how many of these files there are at most"},
     ApplyNumber<&Configuration::eventsFiles, 1, QuviewDFX::MAX_EVENT_FILES>},
};

}  // namespace

const std::vector<KeyRule>& KeyRules()
{
    static const std::vector<KeyRule> rules(std::begin(KEY_RULES), std::end(KEY_RULES));
    return rules;
}

const KeyRule* FindKeyRule(const std::string& name)
{
    const auto& rules = KeyRules();
    const auto found =
        std::find_if(rules.begin(), rules.end(), [&](const KeyRule& rule) { return name == rule.key.name; });
    return found != rules.end() ? &*found : nullptr;
}

void FillDerived(Configuration& configuration)
{
    const auto fill = [&](fs::path& path, const char* name) {
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

}  // namespace Vexo::Host
