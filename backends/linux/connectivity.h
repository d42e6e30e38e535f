// Connectivity: reports the connection state of this machine for each kind of network (Ethernet, Wi-Fi, VPN, ...). It
// reads NetworkManager's devices and VPN connections. If several devices have the same kind of network, the best state
// counts. A Wi-Fi radio counts as not connected while it is an access point. Callbacks run on a strand of this class.
// https://networkmanager.dev/docs/api/1.42/
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "backends/linux/bus.h"
#include "backends/linux/presence.h"
#include "platform/base/nocopyable.h"
#include "platform/events/common_event_support.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

// Returns the kind of network for an NMDeviceType. Returns nullopt for devices that have none, such as bridges and
// loopback.
std::optional<EventFwk::NetType> NetTypeOf(uint32_t deviceType);
// Returns the connection state for an NMDeviceState.
EventFwk::NetConnState NetConnStateOf(uint32_t deviceState);

class Connectivity : public NoCopyable {
public:
    using StateChanged = std::function<void(EventFwk::NetType type, EventFwk::NetConnState state)>;

    Connectivity(std::shared_ptr<Bus> bus, PresenceChanged changed, StateChanged stateChanged);

private:
    struct Link {
        EventFwk::NetType type;
        EventFwk::NetConnState state;
    };

    // The following functions run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    // Updates the link of a device. path: the device's object path. signalState: the state that a signal reported;
    // nullopt: the device's current state is read.
    void ReadDevice(const std::string& path, std::optional<uint32_t> signalState);
    void SetLink(const std::string& path, EventFwk::NetType type, EventFwk::NetConnState state);
    void RemoveLink(const std::string& path);
    // Calls stateChanged_ for each kind of network whose state has changed.
    void ReportChanges();

    const std::shared_ptr<Bus> bus_;
    const PresenceChanged changed_;
    const StateChanged stateChanged_;

    // The following members are used on strand_ only.
    std::map<std::string, Link> links_;  // keyed by object path
    std::map<EventFwk::NetType, EventFwk::NetConnState> reported_;

    Tasks::Strand strand_;  // own synchronisation
    BusSubscription added_;
    BusSubscription removed_;
    BusSubscription states_;
    BusSubscription vpnStates_;
    BusSubscription service_;
};

}  // namespace Vexo::Linux
