#include "host/health_checks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "backends/simulated/device_state.h"
#include "host/device.h"
#include "host/socket_rights.h"
#include "platform/ability/ability_ids.h"
#include "platform/access/policy.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "platform/base/version.h"
#include "platform/trust/identity_checks.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Host {
namespace {

using namespace QuviewDFX;

constexpr const char* RESTART_COMMAND = "systemctl restart distnet";
constexpr const char* RESTART = "Restart the daemon: systemctl restart distnet";

// Reports only that a backup of the account's key exists. The checks "identity" and "account" report what is wrong with
// a membership (trust/identity_checks.h).
void CheckBackup(const MembershipStatus& membership, std::vector<HealthCheck>& checks)
{
    if (membership.holdsKey && membership.backup && !membership.removedAt) {
        checks.push_back(Healthy("backup", "of the account's key, made on " + DateOf(*membership.backup)));
    }
}

// Checks the identity on the disk, which may be newer than the identity that the daemon uses. A daemon with a link to
// other devices ignores a damaged identity, and an identity with another network id. A daemon without a link adopts any
// valid identity.
void CheckTrust(const HealthFacts& facts, std::vector<HealthCheck>& checks)
{
    Trust::IdentityChecks found = Trust::CheckIdentity(facts.configuration.stateDir / "identity", facts.now);
    if (facts.devices && !found.networkId.empty() && found.networkId != facts.networkId) {
        found.identity = Unhealthy("identity", "replaced since the daemon took it over", RESTART);
    } else if (facts.devices && !found.identity.good.value_or(true)) {
        found.identity.advice += std::string("; then restart the daemon: ") + RESTART_COMMAND;
    }
    if (found.account.good.value_or(false)) {
        if (facts.devices) {
            const size_t others = facts.devices->size();
            found.account.message +=
                " with " + std::to_string(others) + (others == 1 ? " other device met" : " other devices met");
        } else {
            found.account =
                Unhealthy("account", found.account.message + ": the daemon could not take it over",
                          std::string("Repair what the log names: journalctl -u distnet; then: ") + RESTART_COMMAND);
        }
    }
    std::vector<HealthCheck> more;
    CheckBackup(facts.membership, more);
    // CheckIdentity does not know the clocks of other devices. So compare this device's clock with the known device
    // whose clock differs most.
    std::optional<SoftBus::Node> farthest;
    for (const SoftBus::Node& node : facts.devices.value_or(std::vector<SoftBus::Node>{})) {
        if (node.clockAhead && (!farthest || abs(*node.clockAhead) > abs(*farthest->clockAhead))) {
            farthest = node;
        }
    }
    if (farthest && !found.clock.good) {
        const auto ahead = std::chrono::duration_cast<std::chrono::seconds>(*farthest->clockAhead);
        found.clock = Healthy("clock", "within " + RoughDuration(std::max(abs(ahead), std::chrono::seconds(1))) +
                                           " of " + farthest->deviceName);
        if (abs(*farthest->clockAhead) > CLOCK_TOLERANCE) {
            found.clock = Unhealthy("clock",
                                    RoughDuration(abs(ahead)) + (ahead.count() > 0 ? " behind " : " ahead of ") +
                                        farthest->deviceName + "'s",
                                    "Set the one that is wrong: timedatectl set-ntp true");
        }
    }
    checks.insert(checks.end(), {std::move(found.identity), std::move(found.account), std::move(found.clock)});
    checks.insert(checks.end(), more.begin(), more.end());
}

// Appends the check of the access policy to the list. Returns the policy, or no value if the file cannot be used.
std::optional<Security::AccessPolicy> CheckPolicy(const std::filesystem::path& file, std::vector<HealthCheck>& checks)
{
    if (file.empty()) {
        checks.push_back(Healthy("policy", "the shipped one: root and group netdev; lets this user in"));
        return Security::AccessPolicy::ShippedDefault();
    }
    Result<Security::AccessPolicy> policy = Security::AccessPolicy::Load(file);
    if (!policy) {
        checks.push_back(Unhealthy("policy", policy.error().message + "; from the next start it lets only root in",
                                   "Correct it, then restart the daemon: systemctl restart distnet"));
        return std::nullopt;
    }
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
        checks.push_back(Unhealthy("policy", file.string() + " can be changed by every user",
                                   "Close it: chmod o-w " + file.string()));
    } else {
        const size_t entries = policy.value().entries.size();
        checks.push_back(Healthy("policy", file.string() + ", " + std::to_string(entries) +
                                               (entries == 1 ? " entry" : " entries") + "; lets this user in"));
    }
    return std::move(policy.value());
}

const char* ServiceText(ServiceLife service)
{
    switch (service) {
        case ServiceLife::RUNNING:
            return "running";
        case ServiceLife::IDLE:
            return "idle (serves peers)";
        case ServiceLife::NOT_LOADED:
            break;
    }
    return "not loaded (starts on demand)";
}

void CheckDaemon(const HealthFacts& facts, std::vector<HealthCheck>& checks)
{
    if (facts.service == ServiceLife::NOT_LOADED && ::access(facts.serviceLibrary.c_str(), R_OK) != 0) {
        checks.push_back(Unhealthy(
            "daemon", "the service cannot start: " + facts.serviceLibrary.string() + ": " + std::strerror(errno),
            "Install it there, or name it with service.library in the daemon's configuration"));
        return;
    }
    checks.push_back(Healthy("daemon", std::string("distnetd ") + DistNetVersion() + ", " +
                                           std::to_string(facts.abilities) + " abilities present, service " +
                                           ServiceText(facts.service)));
}

// Returns the latest attempt at each address of a device, and the result of that attempt, such as "LAN 192.0.2.7:11630
// 5 s ago: connection refused".
std::string TriesText(const HealthFacts& facts, const SoftBus::Node& node)
{
    std::string text;
    for (const SoftBus::AddressTried& way : node.tried) {
        const auto ago = std::chrono::duration_cast<std::chrono::seconds>(facts.now - way.at);
        // A Bluetooth address is not shown, because it changes with each announcement and a person cannot use it.
        const std::string where = way.transport == "tcp" ? "LAN " + way.address : "Bluetooth";
        text += (text.empty() ? "tried " : "; ") + where + " " + RoughDuration(std::max(ago, std::chrono::seconds(0))) +
                " ago: " + (way.answer.empty() ? "it answered" : way.answer);
    }
    return text.empty() ? "no address of it was tried since the daemon began" : text;
}

void CheckPeers(const HealthFacts& facts, std::vector<HealthCheck>& checks)
{
    if (!facts.devices) {
        checks.push_back(NotChecked("peers", "not checked: needs an account"));
        return;
    }
    if (facts.devices->empty()) {
        checks.push_back(Unhealthy("peers", "no device of the account was ever met",
                                   "See that one runs on the same network, with Avahi on both, or name its address "
                                   "in softbus.peers of the configuration"));
        return;
    }
    const bool any = std::any_of(facts.devices->begin(), facts.devices->end(),
                                 [](const SoftBus::Node& node) { return node.online; });
    for (const SoftBus::Node& node : *facts.devices) {
        const auto away = std::chrono::duration_cast<std::chrono::seconds>(facts.now.time_since_epoch() -
                                                                           std::chrono::milliseconds(node.lastSeenMs));
        const std::string tries = TriesText(facts, node);
        const std::string gone = node.deviceName + " is away, last seen " +
                                 RoughDuration(std::max(away, std::chrono::seconds(0))) + " ago; " + tries;
        if (node.online) {
            checks.push_back(Healthy("peer", node.deviceName + " is reachable; " + tries));
        } else if (any) {
            checks.push_back(NotChecked("peer", gone));
        } else {
            checks.push_back(
                Unhealthy("peer", gone, "See that it is switched on and in reach; there: distnetctl doctor"));
        }
    }
}

// Returns the command that sets a key of the simulated device to a value.
std::string SimSet(const HealthFacts& facts, const std::string& assignment)
{
    return "distnetctl sim set --state " + facts.configuration.stateDir.string() + " " + assignment;
}

// Returns a failed check if the simulated device is set to fail calls of the given kind, such as "hotspot". Otherwise
// returns no value.
std::optional<HealthCheck> FaultOf(const HealthFacts& facts, const Simulated::DeviceState& state,
                                   const std::string& check, const std::string& kind)
{
    for (const Simulated::DeviceStateEntry& entry : Simulated::DescribeDeviceState(state)) {
        const bool fails = !entry.isDefault && !entry.key.ends_with(".delay_ms");
        if (fails && entry.key.starts_with("faults." + kind + ".")) {
            const std::string healthy = entry.key.ends_with(".code") ? "=0" : "=false";
            return Unhealthy(check, "it is set to fail: " + entry.key + "=" + entry.value,
                             "Remove the fault: " + SimSet(facts, entry.key + healthy));
        }
    }
    return std::nullopt;
}

HealthCheck CheckRadio(const HealthFacts& facts, const Result<Simulated::DeviceState>& state)
{
    if (!state) {
        return Unhealthy("radio", state.error().message,
                         "Correct it, or go back to the defaults: rm " +
                             (facts.configuration.stateDir / Simulated::DEVICE_STATE_FILE).string() +
                             ", then restart the daemon");
    }
    const auto wifi = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID);
    if (!wifi) {
        return Unhealthy("radio", "this device has no Wi-Fi",
                         "Add Wi-Fi: " + SimSet(facts, "wifi.station_present=true"));
    }
    if (!state.value().wifiEnabled) {
        return Unhealthy("radio", "Wi-Fi is switched off", "Switch it on: " + SimSet(facts, "wifi.enabled=true"));
    }
    const Wifi::WifiLinkInfo info = wifi->GetLinkInfo();
    const bool connected = info.state == Wifi::WifiLinkState::CONNECTED;
    return FaultOf(facts, state.value(), "radio", "wifi")
        .value_or(Healthy("radio",
                          connected ? "Wi-Fi is on, connected to \"" + EscapeBytes(info.ssid) + "\"" : "Wi-Fi is on"));
}

HealthCheck CheckHotspot(const HealthFacts& facts, const Simulated::DeviceState& state)
{
    const auto hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID);
    if (!hotspot) {
        return Unhealthy("hotspot", "this device's Wi-Fi cannot be a hotspot",
                         "Allow it: " + SimSet(facts, "wifi.hotspot_present=true"));
    }
    if (auto fault = FaultOf(facts, state, "hotspot", "hotspot")) {
        return *std::move(fault);
    }
    Wifi::HotspotConfig config;
    bool active = false;
    int32_t code = hotspot->GetHotspotConfig(config);
    code = code != Wifi::WIFI_OK ? code : hotspot->IsHotspotActive(active);
    if (code != Wifi::WIFI_OK) {
        return Unhealthy("hotspot", "the radio does not report the hotspot's state (code " + std::to_string(code) + ")",
                         "See the daemon's log: journalctl -u distnet");
    }
    return Healthy("hotspot", "\"" + EscapeBytes(config.GetSsid()) + "\" " + (active ? "is open" : "can be opened"));
}

}  // namespace

std::vector<HealthCheck> CheckHealth(const HealthFacts& facts)
{
    std::vector<HealthCheck> checks;
    CheckTrust(facts, checks);
    const auto policy = CheckPolicy(facts.configuration.accessPolicy, checks);
    CheckDaemon(facts, checks);
    checks.push_back(CheckSocket(facts.configuration, policy.value_or(Security::AccessPolicy::RootOnly())));
    CheckPeers(facts, checks);
    if (facts.configuration.platform != PLATFORM_LINUX) {
        const auto state = Simulated::LoadDeviceState(facts.configuration.stateDir);
        checks.push_back(CheckRadio(facts, state));
        checks.push_back(checks.back().good.value_or(false) ? CheckHotspot(facts, state.value())
                                                            : NotChecked("hotspot", "not checked: needs the radio"));
    }
    checks.insert(checks.end(), facts.device.begin(), facts.device.end());
    return checks;
}

}  // namespace Vexo::Host
