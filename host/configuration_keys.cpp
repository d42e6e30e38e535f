#include "host/configuration_keys.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "interfaces/named_values.h"
#include "interfaces/sharing_answers_json.h"
#include "platform/base/host_port.h"
#include "platform/base/number.h"
#include "platform/dfx/event_file.h"

namespace Vexo::Host {
namespace {

namespace fs = std::filesystem;

constexpr const char* HOST_AND_PORT = "\"HOST:PORT\", port 1 to 65535, IPv6 in brackets";

const NamedValue<std::string> PLATFORMS[] = {{"linux", "linux"}, {"simulated", "simulated"}};
const NamedValue<std::string> BANDS[] = {{"any", ""}, {"2.4 GHz", "bg"}, {"5 GHz", "a"}};
constexpr NamedValue<Wifi::KeyMgmt> SECURITIES[] = {
    {"wpa2", Wifi::KeyMgmt::WPA2_PSK}, {"wpa3", Wifi::KeyMgmt::SAE}, {"open", Wifi::KeyMgmt::NONE}};
constexpr NamedValue<QuviewDFX::LogLevel> LOG_LEVELS[] = {{"debug", QuviewDFX::LogLevel::DEBUG},
                                                          {"info", QuviewDFX::LogLevel::INFO},
                                                          {"warning", QuviewDFX::LogLevel::WARN},
                                                          {"error", QuviewDFX::LogLevel::ERROR}};

std::string WrongAddress(const std::string& text)
{
    in6_addr parsed{};
    const bool isAddress =
        inet_pton(AF_INET, text.c_str(), &parsed) == 1 || inet_pton(AF_INET6, text.c_str(), &parsed) == 1;
    return isAddress ? "" : "is not an IP address";
}

std::string WrongHostAndPort(const std::string& peer)
{
    const Result<HostPort> address = ParseHostPort(peer);
    return address && address->port != 0 ? "" : "is not a host and a port";
}

std::string WrongDeviceName(const std::string& name)
{
    if (name.empty() || name.size() > MAX_DEVICE_NAME) {
        return "has " + std::to_string(name.size()) + " bytes";
    }
    const bool hasControl =
        std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
    return hasControl ? "has control characters" : "";
}

std::string WrongBus(const std::string& address)
{
    const bool isAddress = address.find(':') != std::string::npos && address.find('=') != std::string::npos;
    return isAddress ? "" : "is not a D-Bus address";
}

std::string WrongAdapter(const std::string& name)
{
    const bool isName = name.starts_with("hci") && ParseNumber<uint16_t>(name.substr(3)).has_value();
    return isName ? "" : "is not the name of an adapter";
}

JsonKind<uint32_t> SocketModeKind()
{
    const auto parse = [](const std::string& text, uint32_t& out) {
        const auto mode = ParseNumber<uint32_t>(text, 8);
        if (!mode) {
            return "is not an octal number";
        }
        // The owner must be able to connect to the socket, and a socket needs no execute permission.
        if (*mode < 0600 || *mode > 0666 || (*mode & 0111) != 0) {
            return "is out of range";
        }
        out = *mode;
        return "";
    };
    return ParsedTextKind<uint32_t>("octal text, \"0600\" to \"0666\"", parse, [](uint32_t mode) {
        std::array<char, 16> text{};
        std::snprintf(text.data(), text.size(), "%04o", mode);
        return std::string(text.data());
    });
}

JsonKind<fs::path> PathKind(const fs::path& folder, const std::string& allowed = "a path")
{
    const auto parse = [folder](const std::string& text, fs::path& out) {
        if (text.empty()) {
            return "is empty";
        }
        out = folder / text;
        return "";
    };
    return ParsedTextKind<fs::path>(allowed, parse, [](const fs::path& path) { return path.string(); });
}

using Rows = std::vector<JsonKeyOf<Configuration>>;

// Returns the configuration keys that describe this device, and set how local programs and other devices reach it.
Rows ReachRows(const fs::path& folder)
{
    using C = Configuration;
    return {
        {"platform", NamedKind(PLATFORMS), &C::platform,
         Means("where radios, SIMs, screen and battery come from: this machine, or a simulation",
               "\"linux\" where NetworkManager answers, else \"simulated\"")},
        {"state_dir", PathKind(folder), &C::stateDir,
         Required("the device's own folder: identity, state, lock; created when missing")},
        {"device.name", TextKind("1 to 64 bytes, no control characters", WrongDeviceName), &C::deviceName,
         Means("the name that other devices show for this one", "the machine's host name")},
        {"device.type", NamedKind(DEVICE_TYPE_NAMES), &C::deviceType, Means("what kind of device it is")},
        {"ipc.socket", PathKind(folder, "a path of at most 107 bytes"), &C::ipcSocket,
         Means("where local programs connect", "STATE_DIR/ipc.sock")},
        {"ipc.socket_mode", SocketModeKind(), &C::ipcSocketMode,
         Means("who may connect; the access policy decides what they may do")},
        {"ipc.user_connections", WholeNumberKind<uint32_t>(1, 4096), &C::ipcUserConnections,
         Means("how many connections the programs of a user other than root may have; more are closed")},
        {"ipc.user_requests", WholeNumberKind<uint32_t>(1, 256), &C::ipcUserRequests,
         Means("how many requests of such a user run at once; more have to wait")},
        {"softbus.listen", TextKind("an IPv4 or IPv6 address", WrongAddress), &C::softbusListen,
         Means("the address where peers reach this device")},
        {"softbus.port", WholeNumberKind<uint16_t>(0, UINT16_MAX, "0 picks a free port"), &C::softbusPort,
         Means("the TCP port where peers reach this device")},
        {"softbus.peers",
         ListKind(TextKind(HOST_AND_PORT, WrongHostAndPort), std::string("a list of ") + HOST_AND_PORT),
         &C::softbusPeers, Means("where to look for devices of the account")},
        {"softbus.dns_sd", FlagKind(), &C::dnsSd,
         Means("whether devices on the same network find this one and it finds them; on the platform linux")},
        {"softbus.announce_dir", PathKind(folder), &C::announceDir,
         Means("a folder shared by devices that announce themselves there", "no announcements there")},
        {"access.policy", PathKind(folder), &C::accessPolicy,
         Means("which users and groups may use the daemon", "the shipped policy")},
    };
}

// Returns the configuration keys for the radios, the buses, the hotspot, the service library, and the logs and events.
Rows DeviceRows(const fs::path& folder)
{
    using C = Configuration;
    return {
        {"config_policy.roots", ListKind(PathKind(folder), "a list of paths"), &C::policyRoots,
         Means("folders with the service's own configuration files, lowest priority first")},
        {"simulated.air_dir", PathKind(folder), &C::airDir,
         Means("the air that simulated radios share", "STATE_DIR/air")},
        {"linux.bus", TextKind("a D-Bus address, \"unix:path=…\"", WrongBus), &C::linuxBus,
         Means("the bus that this machine's daemons use", "the system bus")},
        {"bluetooth.enabled", FlagKind(), &C::bluetooth,
         Means("whether devices reach each other over Bluetooth Low Energy; on the platform linux")},
        {"bluetooth.adapter", TextKind("an adapter's name, \"hci0\"", WrongAdapter), &C::bluetoothAdapter,
         Means("the adapter to use", "the first that is on")},
        {"bluetooth.bus", TextKind("a D-Bus address, \"unix:path=…\"", WrongBus), &C::bluetoothBus,
         Means("the bus that BlueZ uses; for tests", "the bus of linux.bus")},
        {"hotspot.security", NamedKind(SECURITIES), &C::hotspotSecurity,
         Means("the security of the hotspot that the daemon sets up if the user has none")},
        {"hotspot.band", NamedKind(BANDS), &C::hotspotBand,
         Means("the band of such a hotspot; any: the driver's choice")},
        {"hotspot.channel",
         WholeNumberKind<uint32_t>(0, 196, "0: the driver's choice; else only with \"hotspot.band\""),
         &C::hotspotChannel, Means("the channel of such a hotspot")},
        {"hotspot.idle_s", WholeNumberKind<uint32_t>(10, 86'400), &C::hotspotIdleS,
         Means("after how many seconds without a station the daemon turns off a hotspot that it turned on")},
        {"hotspot.idle_no_uplink_s", WholeNumberKind<uint32_t>(10, 86'400), &C::hotspotIdleNoUplinkS,
         Means("the same, while this device has no internet")},
        {"service.library", PathKind(folder), &C::serviceLibrary,
         Means("the service, loaded on demand", "libdistnet_service.so beside distnetd or in ../lib")},
        {"log.level", NamedKind(LOG_LEVELS), &C::logLevel, Means("the lowest level of log lines that are written")},
        {"events.file", PathKind(folder), &C::eventsFile,
         Means("system events, one JSON object a line", "STATE_DIR/events.jsonl")},
        {"events.max_bytes", WholeNumberKind<uint64_t>(65'536, 1'073'741'824), &C::eventsMaxBytes,
         Means("the size at which the events file is renamed to FILE.1, and FILE.1 to FILE.2")},
        {"events.files", WholeNumberKind<uint32_t>(1, QuviewDFX::MAX_EVENT_FILES), &C::eventsFiles,
         Means("how many of these files are kept, the current one included")},
    };
}

// Returns the configuration keys that set which devices may use this device's network, and how much of it.
Rows ShareRows()
{
    using C = Configuration;
    return {
        {"share.allow", NamedKind(SHARE_ALLOW_NAMES), [](C& c) -> ShareAllow& { return c.sharing.allow; },
         Means("which devices of the account may use this device's network: all, those that its owner allows when "
               "asked, none, only those that were allowed before")},
        {"share.battery_floor", WholeNumberKind<uint8_t>(0, 100, "0: none"),
         [](C& c) -> uint8_t& { return c.sharing.batteryFloorPercent; },
         Means("below how many percent of a battery that is not being charged the network is not shared")},
        {"share.month_limit_mb", WholeNumberKind<uint64_t>(0, 1'000'000'000, "0: none"),
         [](C& c) -> uint64_t& { return c.sharing.monthLimitMb; },
         Means("how many megabytes (of 1000000 bytes) other devices may use in a month")},
        {"share.month_first_day", WholeNumberKind<uint32_t>(1, 31, "in a shorter month its last day"),
         [](C& c) -> uint32_t& { return c.sharing.monthFirstDay; },
         Means("the day on which that month begins, local time")},
        {"share.close_after_s", WholeNumberKind<std::chrono::seconds>(10, 3600),
         [](C& c) -> std::chrono::seconds& { return c.sharing.closesAfter; },
         Means("how many seconds after its last user has left the daemon turns off a hotspot that it turned on")},
    };
}

}  // namespace

JsonKeys<Configuration> ConfigurationTable(const fs::path& folder)
{
    Rows rows = ReachRows(folder);
    for (const Rows& more : {DeviceRows(folder), ShareRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return JsonKeys<Configuration>(std::move(rows));
}

}  // namespace Vexo::Host
