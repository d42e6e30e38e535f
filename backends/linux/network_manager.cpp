#include "backends/linux/network_manager.h"

#include <algorithm>
#include <cctype>
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
// NM_802_11_AP_SEC_KEY_MGMT_OWE_TM: open network with an encrypted variant
constexpr uint32_t KEY_MGMT_OWE_TM = 0x1000;
constexpr const char* SECURITY_SETTING = "802-11-wireless-security";

BusObject ObjectOf(const std::string& path, const std::string& interface)
{
    return {NETWORK_MANAGER, path, NETWORK_MANAGER + std::string(".") + interface};
}

std::string LowerCase(std::string address)
{
    std::transform(address.begin(), address.end(), address.begin(),
                   [](unsigned char one) { return std::tolower(one); });
    return address;
}

// Returns the object path in the property with the given key. Returns an empty text if there is no object ("/").
std::string PathIn(const PropertyMap& properties, const std::string& key)
{
    const std::string path = ValueIn<sdbus::ObjectPath>(properties, key, sdbus::ObjectPath("/"));
    return path == "/" ? "" : path;
}

sdbus::ObjectPath PathOrNone(const std::string& path)
{
    return sdbus::ObjectPath(path.empty() ? "/" : path);
}

// ReadEach reads the object at each path. It leaves out objects that were removed meanwhile or are of another kind. It
// fails if no reply arrives, because an incomplete list would look complete.
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
        return NoReply("no time is left for the call " + method);
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
    return Overview().map([](const NetworkOverview& overview) { return !overview.primary.empty(); });
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
    radio.macAddress = LowerCase(ValueIn<std::string>(wireless.value(), "HwAddress"));
    radio.lastScan = ValueIn<int64_t>(wireless.value(), "LastScan", -1);
    return radio;
}

Result<AccessPoint> NetworkManager::ReadAccessPoint(const std::string& path) const
{
    Result<PropertyMap> properties = GetProperties(ObjectOf(path, "AccessPoint"));
    return properties ? AccessPointFrom(path, properties.value()) : Failure(std::move(properties).error());
}

Result<AccessPoint> AccessPointFrom(const std::string& path, const PropertyMap& properties)
{
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
    // The request names no SSID, because NetworkManager 1.42 crashes if an SSID is requested a second time while a scan
    // for this SSID runs.
    if (const Result<void> asked = Call(ObjectOf(radio, "Device.Wireless"), "RequestScan", PropertyMap()); !asked) {
        QuviewDFX::LogInfo(LABEL, "NetworkManager starts no scan: %{public}s", asked.error().message);
    }
}

Result<uint8_t> NetworkManager::StrengthAt(const std::string& radio) const
{
    return GetProperty<sdbus::ObjectPath>(ObjectOf(radio, "Device.Wireless"), "ActiveAccessPoint")
        .and_then([this](const sdbus::ObjectPath& path) {
            return GetProperty<uint8_t>(ObjectOf(path, "AccessPoint"), "Strength");
        });
}

Result<Ip4Lease> NetworkManager::LeaseOf(const std::string& radio) const
{
    const Result<sdbus::ObjectPath> config = GetProperty<sdbus::ObjectPath>(ObjectOf(radio, "Device"), "Ip4Config");
    if (!config) {
        return Failure(config.error());
    }
    if (config.value() == "/") {
        return Ip4Lease();
    }
    const Result<PropertyMap> properties = GetProperties(ObjectOf(config.value(), "IP4Config"));
    return properties ? Ip4LeaseFrom(properties.value()) : Result<Ip4Lease>(Failure(properties.error()));
}

Ip4Lease Ip4LeaseFrom(const PropertyMap& properties)
{
    using Maps = std::vector<PropertyMap>;
    Ip4Lease lease;
    if (const Maps addresses = ValueIn<Maps>(properties, "AddressData"); !addresses.empty()) {
        lease.address = ValueIn<std::string>(addresses.front(), "address");
    }
    lease.gateway = ValueIn<std::string>(properties, "Gateway");
    for (const PropertyMap& nameServer : ValueIn<Maps>(properties, "NameserverData")) {
        lease.nameServers.push_back(ValueIn<std::string>(nameServer, "address"));
    }
    return lease;
}

Result<NetworkOverview> NetworkManager::Overview() const
{
    const Result<PropertyMap> manager = GetProperties(NM_MANAGER);
    if (!manager) {
        return Failure(manager.error());
    }
    const PropertyMap& properties = manager.value();
    NetworkOverview overview;
    overview.primary = PathIn(properties, "PrimaryConnection");
    for (const sdbus::ObjectPath& path : ValueIn<Paths>(properties, "ActiveConnections")) {
        overview.active.push_back(path);
    }
    overview.isCheckOn = ValueIn<bool>(properties, "ConnectivityCheckAvailable") &&
                         ValueIn<bool>(properties, "ConnectivityCheckEnabled");
    overview.connectivity = static_cast<NmConnectivity>(ValueIn<uint32_t>(properties, "Connectivity"));
    return overview;
}

Result<Connection> NetworkManager::ReadConnection(const std::string& activation) const
{
    const Result<PropertyMap> active = GetProperties(ObjectOf(activation, "Connection.Active"));
    if (!active) {
        return Failure(active.error());
    }
    const PropertyMap& properties = active.value();
    Connection connection;
    connection.path = activation;
    connection.profile = PathIn(properties, "Connection");
    connection.name = ValueIn<std::string>(properties, "Id");
    connection.type = ValueIn<std::string>(properties, "Type");
    connection.state = static_cast<ActivationState>(ValueIn<uint32_t>(properties, "State"));
    connection.isDefault = ValueIn<bool>(properties, "Default") || ValueIn<bool>(properties, "Default6");
    if (const auto devices = ValueIn<Paths>(properties, "Devices"); !devices.empty()) {
        connection.device = devices.front();
    }
    return connection;
}

Result<NetworkDevice> NetworkManager::ReadDevice(const std::string& path) const
{
    const Result<PropertyMap> read = GetProperties(ObjectOf(path, "Device"));
    if (!read) {
        return Failure(read.error());
    }
    NetworkDevice device;
    device.interface = ValueIn<std::string>(read.value(), "Interface");
    device.type = ValueIn<uint32_t>(read.value(), "DeviceType");
    // The values of NMMetered, from 0: unknown, yes, no, guessed yes, guessed no.
    if (const auto metered = ValueIn<uint32_t>(read.value(), "Metered"); metered != 0) {
        device.isMetered = metered == 1 || metered == 3;
    }
    device.connectivity = static_cast<NmConnectivity>(std::max(ValueIn<uint32_t>(read.value(), "Ip4Connectivity"),
                                                               ValueIn<uint32_t>(read.value(), "Ip6Connectivity")));
    return device;
}

Result<NmConnectivity> NetworkManager::CheckConnectivity(SteadyTime deadline) const
{
    const auto left = std::chrono::ceil<milliseconds>(deadline - clock_.Now());
    const Result<uint32_t> checked = bus_->Call<uint32_t>(NM_MANAGER, "CheckConnectivity", left);
    if (!checked) {
        return Failure(checked.error());
    }
    return static_cast<NmConnectivity>(checked.value());
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
        QuviewDFX::LogInfo(LABEL, "cannot deactivate %{public}s: %{public}s", activation, done.error().message);
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
    // Error replies are ignored, because NetworkManager itself deletes a temporary profile when its connection ends.
    const Result<void> deleted = Call(ObjectOf(profile, "Settings.Connection"), "Delete");
    if (deleted) {
        QuviewDFX::LogInfo(LABEL, "profile %{public}s deleted", profile);
    }
    return !deleted && IsNoAnswer(deleted.error()) ? deleted : Result<void>();
}

}  // namespace Vexo::Linux
