#include "backends/linux/network_manager.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "backends/linux/daemon_version.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

using Paths = std::vector<sdbus::ObjectPath>;
using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "NetworkManager"};

const BusObject SETTINGS{NETWORK_MANAGER, "/org/freedesktop/NetworkManager/Settings",
                         "org.freedesktop.NetworkManager.Settings"};

constexpr uint32_t DEVICE_TYPE_WIFI = 2;
constexpr uint32_t STATE_UNMANAGED = 10;
constexpr uint32_t CAPABILITY_ACCESS_POINT = 0x40;  // NM_WIFI_DEVICE_CAP_AP
constexpr uint32_t AP_PRIVACY = 0x1;                // NM_802_11_AP_FLAGS_PRIVACY
constexpr uint32_t KEY_MGMT_PSK = 0x100;            // NM_802_11_AP_SEC_KEY_MGMT_PSK
constexpr uint32_t KEY_MGMT_SAE = 0x400;            // NM_802_11_AP_SEC_KEY_MGMT_SAE
constexpr uint32_t KEY_MGMT_OWE_TM = 0x1000;        // NM_802_11_AP_SEC_KEY_MGMT_OWE_TM: open, and has a protected twin
constexpr const char* SECURITY_SETTING = "802-11-wireless-security";

BusObject ObjectOf(const std::string& path, const std::string& interface)
{
    return {NETWORK_MANAGER, path, NETWORK_MANAGER + std::string(".") + interface};
}

// NetworkManager says "/" for none.
std::string PathIn(const PropertyMap& properties, const std::string& key)
{
    const std::string path = ValueIn<sdbus::ObjectPath>(properties, key, sdbus::ObjectPath("/"));
    return path == "/" ? "" : path;
}

sdbus::ObjectPath PathOrNone(const std::string& path)
{
    return sdbus::ObjectPath(path.empty() ? "/" : path);
}

// Reads each object. One that was removed meanwhile, or is of another kind, is left out. Fails when no answer comes: an
// incomplete list would pass for a complete one.
template <typename T>
Result<std::vector<T>> ReadEach(Result<Paths> paths, const std::function<Result<T>(const std::string& path)>& read)
{
    if (!paths) {
        return Failure(std::move(paths).error());
    }
    std::vector<T> all;
    for (const sdbus::ObjectPath& path : paths.value()) {
        Result<T> one = read(path);
        if (one) {
            all.push_back(std::move(one.value()));
        } else if (IsNoAnswer(one.error())) {
            return Failure(std::move(one).error());
        }
    }
    return all;
}

}  // namespace

NetworkManager NetworkManager::Until(SteadyTime deadline) const
{
    NetworkManager limited = *this;
    limited.deadline_ = deadline;
    return limited;
}

Result<milliseconds> NetworkManager::TimeFor(const std::string& method) const
{
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - clock_.Now());
    if (left.count() <= 0) {
        return NoReply("no time was left to ask for " + method);
    }
    return std::min(left, limit_);
}

template <typename Reply, typename... Arguments>
Result<Reply> NetworkManager::Call(const BusObject& object, const std::string& method,
                                   const Arguments&... arguments) const
{
    return TimeFor(method).and_then(
        [&](milliseconds time) { return bus_->Call<Reply>(object, method, time, arguments...); });
}

template <typename T>
Result<T> NetworkManager::GetProperty(const BusObject& object, const std::string& name) const
{
    return TimeFor(name).and_then([&](milliseconds time) { return bus_->GetProperty<T>(object, name, time); });
}

Result<PropertyMap> NetworkManager::GetProperties(const BusObject& object) const
{
    return TimeFor(object.interface).and_then([&](milliseconds time) { return bus_->GetProperties(object, time); });
}

Result<std::string> NetworkManager::Version() const
{
    return AwaitVersion(*bus_, NM_MANAGER, "Version");
}

Result<bool> NetworkManager::IsWifiEnabled() const
{
    Result<PropertyMap> manager = GetProperties(NM_MANAGER);
    if (!manager) {
        return Failure(std::move(manager).error());
    }
    return ValueIn<bool>(manager.value(), "WirelessEnabled") &&
           ValueIn<bool>(manager.value(), "WirelessHardwareEnabled", true);
}

Result<bool> NetworkManager::IsWifiBlocked() const
{
    Result<PropertyMap> manager = bus_->GetProperties(NM_MANAGER, NETWORK_MANAGER_LIMIT);
    if (!manager) {
        return Failure(std::move(manager).error());
    }
    return !ValueIn<bool>(manager.value(), "WirelessHardwareEnabled", true);
}

Result<bool> NetworkManager::HasUplink() const
{
    Result<PropertyMap> manager = GetProperties(NM_MANAGER);
    if (!manager) {
        return Failure(std::move(manager).error());
    }
    return !PathIn(manager.value(), "PrimaryConnection").empty();
}

Result<WifiRadio> NetworkManager::ReadRadio(const std::string& path) const
{
    Result<PropertyMap> device = GetProperties(ObjectOf(path, "Device"));
    if (!device) {
        return Failure(std::move(device).error());
    }
    WifiRadio radio;
    radio.path = path;
    radio.interface = ValueIn<std::string>(device.value(), "Interface");
    radio.state = ValueIn<uint32_t>(device.value(), "State");
    radio.activation = PathIn(device.value(), "ActiveConnection");
    if (ValueIn<uint32_t>(device.value(), "DeviceType") != DEVICE_TYPE_WIFI || radio.state <= STATE_UNMANAGED) {
        return Fail(ErrorCode::NOT_FOUND, radio.interface + " is no Wi-Fi device that NetworkManager manages");
    }
    Result<PropertyMap> wireless = GetProperties(ObjectOf(path, "Device.Wireless"));
    if (!wireless) {
        return Failure(std::move(wireless).error());
    }
    radio.canBeAccessPoint =
        (ValueIn<uint32_t>(wireless.value(), "WirelessCapabilities") & CAPABILITY_ACCESS_POINT) != 0;
    radio.isAccessPoint = ValueIn<uint32_t>(wireless.value(), "Mode") == NM_MODE_ACCESS_POINT;
    return radio;
}

Result<AccessPoint> NetworkManager::ReadAccessPoint(const std::string& path) const
{
    Result<PropertyMap> read = GetProperties(ObjectOf(path, "AccessPoint"));
    if (!read) {
        return Failure(std::move(read).error());
    }
    const PropertyMap& properties = read.value();
    const auto ssid = ValueIn<std::vector<uint8_t>>(properties, "Ssid");
    if (ssid.empty()) {
        return Fail(ErrorCode::NOT_FOUND, "the access point hides its name");
    }
    const uint32_t security = ValueIn<uint32_t>(properties, "WpaFlags") | ValueIn<uint32_t>(properties, "RsnFlags");
    AccessPoint found;
    found.path = path;
    found.ssid.assign(ssid.begin(), ssid.end());
    found.bssid = ValueIn<std::string>(properties, "HwAddress");
    found.strengthPercent = ValueIn<uint8_t>(properties, "Strength");
    found.security.needsKey =
        (security & ~KEY_MGMT_OWE_TM) != 0 || (ValueIn<uint32_t>(properties, "Flags") & AP_PRIVACY) != 0;
    found.security.allowsPsk = (security & KEY_MGMT_PSK) != 0;
    found.security.allowsSae = (security & KEY_MGMT_SAE) != 0;
    found.lastSeen = std::chrono::seconds(ValueIn<int32_t>(properties, "LastSeen", -1));
    return found;
}

Result<std::vector<WifiRadio>> NetworkManager::Radios() const
{
    return ReadEach<WifiRadio>(Call<Paths>(NM_MANAGER, "GetDevices"),
                               [this](const std::string& path) { return ReadRadio(path); });
}

Result<std::vector<AccessPoint>> NetworkManager::AccessPoints(const std::string& radio) const
{
    return ReadEach<AccessPoint>(Call<Paths>(ObjectOf(radio, "Device.Wireless"), "GetAllAccessPoints"),
                                 [this](const std::string& path) { return ReadAccessPoint(path); });
}

void NetworkManager::RequestScan(const std::string& radio) const
{
    // No SSID is named: NetworkManager 1.42 crashes when one is asked for again while it scans.
    if (const Result<void> asked = Call(ObjectOf(radio, "Device.Wireless"), "RequestScan", PropertyMap()); !asked) {
        QuviewDFX::LogInfo(LABEL, "no scan now: %{public}s", asked.error().message);
    }
}

std::string NetworkManager::AddressOf(const std::string& radio) const
{
    const Result<sdbus::ObjectPath> config = GetProperty<sdbus::ObjectPath>(ObjectOf(radio, "Device"), "Ip4Config");
    if (!config || config.value() == "/") {
        return "";
    }
    const Result<std::vector<PropertyMap>> addresses =
        GetProperty<std::vector<PropertyMap>>(ObjectOf(config.value(), "IP4Config"), "AddressData");
    return addresses && !addresses.value().empty() ? ValueIn<std::string>(addresses.value().front(), "address") : "";
}

Result<Activation> NetworkManager::AddAndActivate(const SettingsMap& settings, const std::string& radio,
                                                  const std::string& accessPoint) const
{
    const PropertyMap options{{"persist", std::string("volatile")}, {"bind-activation", std::string("dbus-client")}};
    using Reply = std::tuple<sdbus::ObjectPath, sdbus::ObjectPath, PropertyMap>;
    Result<Reply> added = Call<Reply>(NM_MANAGER, "AddAndActivateConnection2", settings, PathOrNone(radio),
                                      PathOrNone(accessPoint), options);
    if (!added) {
        return Failure(std::move(added).error());
    }
    return Activation{std::get<0>(added.value()), std::get<1>(added.value())};
}

Result<Activation> NetworkManager::Activate(const std::string& profile, const std::string& radio) const
{
    Result<sdbus::ObjectPath> activated = Call<sdbus::ObjectPath>(NM_MANAGER, "ActivateConnection", PathOrNone(profile),
                                                                  PathOrNone(radio), PathOrNone(""));
    if (!activated) {
        return Failure(std::move(activated).error());
    }
    return Activation{profile, activated.value()};
}

Result<void> NetworkManager::Deactivate(const std::string& activation) const
{
    const Result<void> done = Call(NM_MANAGER, "DeactivateConnection", PathOrNone(activation));
    if (!done) {
        QuviewDFX::LogInfo(LABEL, "%{public}s is not deactivated: %{public}s", activation, done.error().message);
    }
    return !done && IsNoAnswer(done.error()) ? done : Result<void>();
}

Result<ActivationState> NetworkManager::StateOf(const std::string& activation) const
{
    const Result<uint32_t> state = GetProperty<uint32_t>(ObjectOf(activation, "Connection.Active"), "State");
    if (state) {
        return static_cast<ActivationState>(state.value());
    }
    return IsNoAnswer(state.error()) ? Result<ActivationState>(Failure(state.error())) : ActivationState::GONE;
}

Result<Profile> NetworkManager::ProfileInUse(const std::string& activation) const
{
    return GetProperty<sdbus::ObjectPath>(ObjectOf(activation, "Connection.Active"), "Connection")
        .and_then([this](const sdbus::ObjectPath& path) { return ReadProfile(path); });
}

Result<std::vector<Profile>> NetworkManager::Profiles() const
{
    return ReadEach<Profile>(Call<Paths>(SETTINGS, "ListConnections"),
                             [this](const std::string& path) { return ReadProfile(path); });
}

Result<Profile> NetworkManager::ReadProfile(const std::string& path) const
{
    Result<SettingsMap> settings = Call<SettingsMap>(ObjectOf(path, "Settings.Connection"), "GetSettings");
    if (!settings) {
        return Failure(std::move(settings).error());
    }
    return Profile{path, std::move(settings.value())};
}

Result<Profile> NetworkManager::FindProfile(const std::string& uuid) const
{
    return Call<sdbus::ObjectPath>(SETTINGS, "GetConnectionByUuid", uuid)
        .and_then([this](const sdbus::ObjectPath& path) { return ReadProfile(path); });
}

Result<Profile> NetworkManager::WithSecrets(Profile profile) const
{
    if (!profile.settings.contains(SECURITY_SETTING)) {
        return profile;
    }
    Result<SettingsMap> secrets =
        Call<SettingsMap>(ObjectOf(profile.path, "Settings.Connection"), "GetSecrets", std::string(SECURITY_SETTING));
    if (!secrets) {
        return Failure(std::move(secrets).error());
    }
    for (const auto& [name, value] : secrets.value()[SECURITY_SETTING]) {
        profile.settings[SECURITY_SETTING].insert_or_assign(name, value);
    }
    return profile;
}

Result<void> NetworkManager::Delete(const std::string& profile) const
{
    // A volatile profile may already have ended with its activation.
    const Result<void> deleted = Call(ObjectOf(profile, "Settings.Connection"), "Delete");
    if (deleted) {
        QuviewDFX::LogInfo(LABEL, "profile %{public}s deleted", profile);
    }
    return !deleted && IsNoAnswer(deleted.error()) ? deleted : Result<void>();
}

}  // namespace Vexo::Linux
