#include "backends/linux/connectivity.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "backends/linux/daemon_version.h"
#include "backends/linux/network_manager.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

using EventFwk::NetConnState;
using EventFwk::NetType;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxConnectivity"};

// The NetType for each NMDeviceType.
constexpr std::array<std::pair<uint32_t, NetType>, 10> DEVICE_TYPES{{
    {1, NetType::ETHERNET},
    {2, NetType::WIFI},
    {5, NetType::BLUETOOTH},
    {8, NetType::CELLULAR},
    {9, NetType::OTHER},      // InfiniBand
    {12, NetType::OTHER},     // ADSL
    {16, NetType::VPN},       // TUN
    {20, NetType::ETHERNET},  // veth, a container's network interface
    {29, NetType::VPN},       // WireGuard
    {31, NetType::OTHER},     // VRF
}};

// The lowest NMDeviceState of each NetConnState, in descending order.
constexpr std::array<std::pair<uint32_t, NetConnState>, 6> DEVICE_STATES{{
    {120, NetConnState::FAILED},
    {110, NetConnState::DISCONNECTING},
    {100, NetConnState::CONNECTED},
    {40, NetConnState::CONNECTING},
    {20, NetConnState::IDLE},
    {0, NetConnState::UNKNOWN},
}};

// Returns the NetConnState for an NMVpnConnectionState.
NetConnState NetConnStateOfVpn(uint32_t state)
{
    constexpr std::array<NetConnState, 8> states{
        NetConnState::UNKNOWN,    NetConnState::CONNECTING, NetConnState::CONNECTING, NetConnState::CONNECTING,
        NetConnState::CONNECTING, NetConnState::CONNECTED,  NetConnState::FAILED,     NetConnState::DISCONNECTED};
    return state < states.size() ? states[state] : NetConnState::UNKNOWN;
}

// Returns the rank of a state. If several links have the same kind of network, the state with the highest rank counts.
int RankOf(NetConnState state)
{
    constexpr std::array<NetConnState, 6> ascending{NetConnState::IDLE,       NetConnState::DISCONNECTED,
                                                    NetConnState::FAILED,     NetConnState::DISCONNECTING,
                                                    NetConnState::CONNECTING, NetConnState::CONNECTED};
    const auto* const found = std::find(ascending.begin(), ascending.end(), state);
    return found == ascending.end() ? -1 : static_cast<int>(found - ascending.begin());
}

}  // namespace

std::optional<NetType> NetTypeOf(uint32_t deviceType)
{
    const auto* const found = std::find_if(DEVICE_TYPES.begin(), DEVICE_TYPES.end(),
                                           [&](const auto& known) { return known.first == deviceType; });
    return found == DEVICE_TYPES.end() ? std::nullopt : std::optional(found->second);
}

NetConnState NetConnStateOf(uint32_t deviceState)
{
    return std::find_if(DEVICE_STATES.begin(), DEVICE_STATES.end(),
                        [&](const auto& least) { return deviceState >= least.first; })
        ->second;
}

Connectivity::Connectivity(std::shared_ptr<Bus> bus, PresenceChanged changed, StateChanged stateChanged)
    : bus_(std::move(bus)), changed_(std::move(changed)), stateChanged_(std::move(stateChanged))
{
    added_ = bus_->OnSignal<sdbus::ObjectPath>(strand_, NM_MANAGER, "DeviceAdded",
                                               [this](const std::string&, const sdbus::ObjectPath& device) {
                                                   ReadDevice(device, std::nullopt);
                                                   ReportChanges();
                                               });
    removed_ = bus_->OnSignal<sdbus::ObjectPath>(
        strand_, NM_MANAGER, "DeviceRemoved",
        [this](const std::string&, const sdbus::ObjectPath& device) { RemoveLink(device); });
    states_ = bus_->OnSignal<uint32_t, uint32_t, uint32_t>(
        strand_, {NETWORK_MANAGER, "", NM_DEVICE_INTERFACE}, "StateChanged",
        [this](const std::string& path, uint32_t state, uint32_t, uint32_t) {
            ReadDevice(path, state);
            ReportChanges();
        });
    vpnStates_ = bus_->OnSignal<uint32_t, uint32_t>(
        strand_, {NETWORK_MANAGER, "", "org.freedesktop.NetworkManager.VPN.Connection"}, "VpnStateChanged",
        [this](const std::string& path, uint32_t state, uint32_t) {
            SetLink(path, NetType::VPN, NetConnStateOfVpn(state));
            ReportChanges();
            if (const NetConnState now = NetConnStateOfVpn(state);
                now == NetConnState::FAILED || now == NetConnState::DISCONNECTED) {
                // The VPN connection has ended: NetworkManager removes the connection's object, which then sends no
                // further signal.
                links_.erase(path);
            }
        });
    service_ = bus_->OnService(strand_, NETWORK_MANAGER, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); });
}

void Connectivity::OnServiceOwnerChanged(bool hasOwner)
{
    links_.clear();
    if (!hasOwner) {
        changed_({false, "NetworkManager does not run"});
        // The networks may still work without NetworkManager, but their state is unknown.
        for (auto& [type, state] : reported_) {
            if (std::exchange(state, NetConnState::UNKNOWN) != NetConnState::UNKNOWN) {
                stateChanged_(type, NetConnState::UNKNOWN);
            }
        }
        return;
    }
    const Result<std::string> version = AwaitVersion(*bus_, NM_MANAGER, "Version");
    const auto devices = bus_->Call<std::vector<sdbus::ObjectPath>>(NM_MANAGER, "GetDevices", BUS_CALL_LIMIT);
    if (devices) {
        for (const sdbus::ObjectPath& device : devices.value()) {
            ReadDevice(device, std::nullopt);
        }
        ReportChanges();
    } else {
        QuviewDFX::LogWarn(LABEL, "cannot list the devices of NetworkManager: %{public}s", devices.error().message);
    }
    changed_({true, "NetworkManager" + (version ? " " + version.value() : "")});
}

void Connectivity::ReadDevice(const std::string& path, std::optional<uint32_t> signalState)
{
    const Result<PropertyMap> device = bus_->GetProperties({NETWORK_MANAGER, path, NM_DEVICE_INTERFACE});
    if (!device) {
        return;  // the device was removed meanwhile
    }
    const std::optional<NetType> type = NetTypeOf(ValueIn<uint32_t>(device.value(), "DeviceType"));
    if (!type) {
        return;
    }
    // The state from the signal is preferred, because the property may already have changed again, for example after a
    // failure.
    NetConnState state = NetConnStateOf(signalState.value_or(ValueIn<uint32_t>(device.value(), "State")));
    if (type == NetType::WIFI && RankOf(state) > RankOf(NetConnState::IDLE)) {
        const Result<uint32_t> mode =
            bus_->GetProperty<uint32_t>({NETWORK_MANAGER, path, NM_WIRELESS_INTERFACE}, "Mode");
        if (mode && mode.value() == NM_MODE_ACCESS_POINT) {
            state = NetConnState::IDLE;
        }
    }
    SetLink(path, *type, state);
}

void Connectivity::SetLink(const std::string& path, NetType type, NetConnState state)
{
    const auto known = links_.find(path);
    if (RankOf(state) <= RankOf(NetConnState::IDLE) && known != links_.end() &&
        RankOf(known->second.state) > RankOf(NetConnState::IDLE)) {
        state = NetConnState::DISCONNECTED;
    }
    links_.insert_or_assign(path, Link{type, state});
}

void Connectivity::RemoveLink(const std::string& path)
{
    const auto gone = links_.find(path);
    if (gone == links_.end()) {
        return;
    }
    if (RankOf(gone->second.state) > RankOf(NetConnState::IDLE)) {
        gone->second.state = NetConnState::DISCONNECTED;
        ReportChanges();
    }
    links_.erase(gone);
}

void Connectivity::ReportChanges()
{
    std::map<NetType, NetConnState> best;
    for (const auto& [path, link] : links_) {
        const auto [entry, isNew] = best.emplace(link.type, link.state);
        if (!isNew && RankOf(link.state) > RankOf(entry->second)) {
            entry->second = link.state;
        }
    }
    for (const auto& [type, state] : best) {
        const auto [entry, isNew] = reported_.emplace(type, NetConnState::UNKNOWN);
        if (std::exchange(entry->second, state) != state) {
            stateChanged_(type, state);
        }
    }
}

}  // namespace Vexo::Linux
