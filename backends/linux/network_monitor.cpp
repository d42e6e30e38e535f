#include "backends/linux/network_monitor.h"

#include <algorithm>
#include <map>
#include <thread>
#include <utility>

#include "backends/linux/network_manager_profiles.h"
#include "platform/base/awaited.h"
#include "platform/dfx/log.h"
#include "platform/network/dns_probe.h"

namespace Vexo::Linux {
namespace {

using Network::NetworkSituation;
using Network::OnlineVerdict;
using Network::Uplink;
using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxNetwork"};

const BusObject ANY_DEVICE{NETWORK_MANAGER, "", NM_DEVICE_INTERFACE};
const BusObject ANY_RADIO{NETWORK_MANAGER, "", NM_WIRELESS_INTERFACE};

constexpr milliseconds ANSWER_LIMIT{1000};  // limit for all answers of one function together
constexpr milliseconds CANCEL_PERIOD{100};
constexpr milliseconds CHECK_PAUSE{1000};
constexpr std::chrono::seconds SCAN_LENGTH{20};  // the longest time from seeing an access point to the end of that scan

SteadyTime Now()
{
    return Clock::System().Now();
}

// Returns the kind of uplink for a connection type of nm-settings-nmcli(5).
Uplink::Kind KindOf(const std::string& type)
{
    if (type == "gsm" || type == "cdma") {
        return Uplink::Kind::MOBILE;
    }
    return type == "802-11-wireless" ? Uplink::Kind::WIFI : Uplink::Kind::WIRE;
}

bool IsWire(const std::string& type)
{
    return type == "802-3-ethernet" || type == "veth";
}

// Whether this machine can share the network of a radio that is connected as a station. Only another radio can be the
// hotspot. station: the path of the connected radio.
bool CanShareWifi(const NetworkManager& manager, const std::string& station)
{
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    return radios && std::any_of(radios.value().begin(), radios.value().end(),
                                 [&](const WifiRadio& one) { return one.path != station && one.canBeAccessPoint; });
}

// Returns the connection that a hotspot of this device would share: the connection with the default route. A Wi-Fi
// connection ends if its own radio must become the hotspot. In this case, returns the modem's connection, which would
// replace the Wi-Fi connection.
std::optional<Connection> SharedConnection(const NetworkManager& manager, const NetworkOverview& overview)
{
    std::vector<std::string> paths = overview.active;
    if (!overview.primary.empty()) {
        paths.insert(paths.begin(), overview.primary);
    }
    for (const std::string& path : paths) {
        const Result<Connection> connection = manager.ReadConnection(path);
        if (!connection || connection.value().state != ActivationState::ACTIVATED) {
            continue;
        }
        const Uplink::Kind kind = KindOf(connection.value().type);
        const bool isUsable = kind != Uplink::Kind::WIFI || CanShareWifi(manager, connection.value().device);
        if (kind == Uplink::Kind::MOBILE || (path == overview.primary && isUsable)) {
            return connection.value();
        }
    }
    return std::nullopt;
}

bool IsOwnWire(const NetworkManager& manager, const Connection& connection, bool isCheckOn)
{
    if (!IsWire(connection.type) || connection.state != ActivationState::ACTIVATED || !connection.isDefault) {
        return false;
    }
    const Result<NetworkDevice> device = manager.ReadDevice(connection.device);
    return !isCheckOn || (device && device.value().connectivity == NmConnectivity::FULL);
}

// Returns the strongest signal of each network that the radio's latest scan has seen, by SSID.
std::map<std::string, uint8_t> SeenBy(const NetworkManager& manager, const WifiRadio& radio)
{
    std::map<std::string, uint8_t> seen;
    const Result<std::vector<AccessPoint>> accessPoints = manager.AccessPoints(radio.path);
    const auto scanned = std::chrono::floor<std::chrono::seconds>(milliseconds(radio.lastScan));
    for (const AccessPoint& one : accessPoints ? accessPoints.value() : std::vector<AccessPoint>()) {
        if (radio.lastScan < 0 || one.lastSeen >= scanned - SCAN_LENGTH) {
            seen[one.ssid] = std::max(seen[one.ssid], one.strengthPercent);
        }
    }
    return seen;
}

// Sets situation.scan and situation.inReach. joinedHere: the SSID of the network that this program has joined, or
// empty. This network is left out of inReach, even if a profile of the user has the same SSID.
void ReadScan(const NetworkManager& manager, const std::string& joinedHere, NetworkSituation& situation)
{
    std::map<std::string, uint8_t> seen;
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    for (const WifiRadio& radio : radios ? radios.value() : std::vector<WifiRadio>()) {
        situation.scan += static_cast<uint32_t>(radio.lastScan);
        for (const auto& [ssid, strength] : SeenBy(manager, radio)) {
            seen[ssid] = std::max(seen[ssid], strength);
        }
    }
    seen.erase(joinedHere);
    if (seen.empty()) {
        return;
    }
    const Result<std::vector<Profile>> profiles = manager.Profiles();
    for (const Profile& profile : profiles ? profiles.value() : std::vector<Profile>()) {
        const auto found = seen.find(SsidOf(profile));
        if (found != seen.end() && JoinsByItself(profile)) {
            situation.inReach.push_back({NameOf(profile), found->second});
        }
    }
    std::stable_sort(situation.inReach.begin(), situation.inReach.end(),
                     [](const auto& one, const auto& other) { return one.strengthPercent > other.strengthPercent; });
}

bool IsProfileOurs(const NetworkManager& manager, const std::string& path)
{
    const Result<Profile> profile = manager.ReadProfile(path);
    return profile && IsOurs(profile.value());
}

}  // namespace

LinuxNetworkMonitor::LinuxNetworkMonitor(std::shared_ptr<Bus> bus, std::shared_ptr<Modems> modems,
                                         sptr<LinuxWifiDevice> station, uint16_t dnsPort)
    : modems_(std::move(modems)), station_(std::move(station)), manager_(bus, ANSWER_LIMIT), dnsPort_(dnsPort)
{
    const auto notifyOn = [&](const BusObject& object, std::vector<std::string> names) {
        subscriptions_.push_back(bus->OnPropertiesChanged(
            strand_, object, [this, names = std::move(names)](const std::string&, const PropertyMap& changed) {
                if (std::any_of(names.begin(), names.end(),
                                [&](const std::string& name) { return changed.contains(name); })) {
                    listener_.Notify();
                }
            }));
    };
    notifyOn(NM_MANAGER, {"PrimaryConnection", "ActiveConnections", "Connectivity"});
    notifyOn(ANY_DEVICE, {"Ip4Connectivity", "Ip6Connectivity"});
    notifyOn(ANY_RADIO, {"LastScan"});
    subscriptions_.push_back(bus->OnService(strand_, NETWORK_MANAGER, [this](bool) { listener_.Notify(); }));
}

LinuxNetworkMonitor::~LinuxNetworkMonitor()
{
    Stop();
}

void LinuxNetworkMonitor::Stop()
{
    subscriptions_.clear();
    strand_.Drain();
}

Uplink LinuxNetworkMonitor::CurrentUplink()
{
    const SteadyTime deadline = Now() + ANSWER_LIMIT;
    const NetworkManager manager = manager_.Until(deadline);
    Uplink uplink;
    const Result<NetworkOverview> overview = manager.Overview();
    const std::optional<Connection> connection =
        overview ? SharedConnection(manager, overview.value()) : std::optional<Connection>();
    if (connection) {
        uplink.kind = KindOf(connection->type);
        const Result<NetworkDevice> device = manager.ReadDevice(connection->device);
        uplink.isMetered = device ? device.value().isMetered : std::nullopt;
        const NmConnectivity connectivity =
            connection->path == overview.value().primary ? overview.value().connectivity : NmConnectivity::UNKNOWN;
        if (overview.value().isCheckOn && connectivity != NmConnectivity::UNKNOWN) {
            uplink.hasInternet = connectivity == NmConnectivity::FULL;
        }
    }
    if (uplink.kind == Uplink::Kind::WIFI) {
        if (const Result<uint8_t> strength = manager.StrengthAt(connection->device)) {
            uplink.signalPercent = strength.value();
        }
    }
    const auto left = std::chrono::floor<milliseconds>(deadline - Now());
    const MobileLink mobile = left.count() > 0 ? modems_->ReadLink(left) : MobileLink();
    uplink.isMobileDataOff = mobile.isDataOff;
    if (uplink.kind == Uplink::Kind::MOBILE) {
        uplink.technology = mobile.technology;
        uplink.signalPercent = mobile.signalPercent;
    }
    return uplink;
}

Network::Battery LinuxNetworkMonitor::CurrentBattery()
{
    const MutexLock lock(mutex_);
    return battery_;
}

void LinuxNetworkMonitor::OnBattery(const Network::Battery& battery)
{
    const MutexLock lock(mutex_);
    battery_ = battery;
}

void LinuxNetworkMonitor::OnUseChanged(bool isInUse)
{
    {
        const MutexLock lock(mutex_);
        isInUse_ = isInUse;
    }
    listener_.Notify();
}

NetworkSituation LinuxNetworkMonitor::Situation()
{
    const NetworkManager manager = manager_.Until(Now() + ANSWER_LIMIT);
    NetworkSituation situation;
    situation.wasDisconnectedByUser = station_->WasDisconnectedByUser();
    {
        const MutexLock lock(mutex_);
        situation.isSessionActive = isInUse_;
    }
    const Result<NetworkOverview> overview = manager.Overview();
    if (!overview) {
        return situation;
    }
    situation.hasNetwork = !overview.value().primary.empty();
    for (const std::string& path : overview.value().active) {
        const Result<Connection> connection = manager.ReadConnection(path);
        if (!connection) {
            continue;
        }
        situation.hasOwnWire =
            situation.hasOwnWire || IsOwnWire(manager, connection.value(), overview.value().isCheckOn);
        if (path == overview.value().primary) {
            situation.isJoinedHere = IsProfileOurs(manager, connection.value().profile);
        }
    }
    const Wifi::WifiLinkInfo link = station_->GetLinkInfo();
    ReadScan(manager, link.state == Wifi::WifiLinkState::CONNECTED ? link.ssid : "", situation);
    return situation;
}

void LinuxNetworkMonitor::RequestScan()
{
    strand_.Post([this] {
        const Result<std::vector<WifiRadio>> radios = manager_.Radios();
        for (const WifiRadio& radio : radios ? radios.value() : std::vector<WifiRadio>()) {
            if (!radio.IsHotspot()) {
                manager_.RequestScan(radio.path);
            }
        }
    });
}

OnlineVerdict LinuxNetworkMonitor::CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                               const IsCancelled& isCancelled)
{
    OnlineVerdict verdict = OnlineVerdict::UNKNOWN;
    if (const Result<NetworkOverview> overview = manager_.Overview(); overview && overview.value().isCheckOn) {
        verdict = CheckByNetworkManager(network.interface, deadline, isCancelled);
    }
    return verdict == OnlineVerdict::UNKNOWN ? CheckByNameServers(network, deadline, isCancelled) : verdict;
}

OnlineVerdict LinuxNetworkMonitor::CheckByNetworkManager(const std::string& interface, SteadyTime deadline,
                                                         const IsCancelled& isCancelled) const
{
    // NetworkManager's check may wait 20 s for a server that does not answer. The first check may take only half of the
    // time until the deadline, so that time remains for the query to the name servers.
    SteadyTime answerBy = Now() + (deadline - Now()) / 2;
    OnlineVerdict verdict = OnlineVerdict::UNKNOWN;
    while (Now() < deadline && !isCancelled()) {
        const std::optional<NmConnectivity> connectivity = ReadConnectivity(interface, answerBy, isCancelled);
        if (!connectivity || connectivity == NmConnectivity::UNKNOWN) {
            return verdict;
        }
        if (connectivity == NmConnectivity::FULL) {
            return OnlineVerdict::ONLINE;
        }
        // The network may not have been ready yet, so the check is repeated until the deadline.
        verdict = OnlineVerdict::NO_INTERNET;
        answerBy = deadline;
        const SteadyTime next = std::min(deadline, Now() + CHECK_PAUSE);
        while (Now() < next && !isCancelled()) {
            std::this_thread::sleep_for(CANCEL_PERIOD);
        }
    }
    return verdict;
}

std::optional<NmConnectivity> LinuxNetworkMonitor::ReadConnectivity(const std::string& interface, SteadyTime deadline,
                                                                    const IsCancelled& isCancelled) const
{
    const auto answer = std::make_shared<Awaited<Result<NmConnectivity>>>();
    Tasks::ElasticPool::Shared().Post(
        [answer, manager = manager_, deadline] { answer->Set(manager.CheckConnectivity(deadline)); });
    std::optional<Result<NmConnectivity>> checked;
    while (!checked && Now() < deadline && !isCancelled()) {
        checked = answer->WaitFor(CANCEL_PERIOD);
    }
    if (!checked) {
        return std::nullopt;
    }
    if (!*checked) {
        QuviewDFX::LogInfo(LABEL, "NetworkManager's connectivity check failed: %{public}s", checked->error().message);
        return std::nullopt;
    }
    // CheckConnectivity returned the best result of all devices. The result of this interface is preferred.
    const Result<std::vector<WifiRadio>> radios = manager_.Radios();
    for (const WifiRadio& radio : radios ? radios.value() : std::vector<WifiRadio>()) {
        const Result<NetworkDevice> device = manager_.ReadDevice(radio.path);
        if (radio.interface == interface && device && device.value().connectivity != NmConnectivity::UNKNOWN) {
            return device.value().connectivity;
        }
    }
    return checked->value();
}

OnlineVerdict LinuxNetworkMonitor::CheckByNameServers(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                                      const IsCancelled& isCancelled) const
{
    if (Now() >= deadline) {
        return OnlineVerdict::UNKNOWN;
    }
    const Result<void> asked =
        Network::AskRootServers(network.nameServers, network.interface, deadline, isCancelled, dnsPort_);
    if (asked) {
        return OnlineVerdict::ONLINE;
    }
    QuviewDFX::LogInfo(LABEL, "\"%{public}s\" has no internet: %{public}s", network.ssid, asked.error().message);
    switch (asked.error().code) {
        case ErrorCode::TIMED_OUT:
        case ErrorCode::REFUSED:
        case ErrorCode::UNAVAILABLE:
        case ErrorCode::MALFORMED:
            return isCancelled() ? OnlineVerdict::UNKNOWN : OnlineVerdict::NO_INTERNET;
        default:
            return OnlineVerdict::UNKNOWN;
    }
}

}  // namespace Vexo::Linux
