// Sharing: this device as one whose network others use: decides who may (share_policy.h), keeps the leases of those who
// do (share_leases.h), counts the bytes (share_usage.h), and closes a hotspot of the daemon's when nobody uses it any
// more, when the battery is below the floor or when the month is used up. While a hotspot is on it looks at it every
// SHARE_LOOK; without one it has no timer. Any thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/peers/peer_messages.h"
#include "host/sharing/sharing_settings.h"
#include "interfaces/sharing_answers.h"
#include "platform/base/nocopyable.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Host {

inline constexpr const char* SHARING_FILE = "sharing.json";  // in the state folder: rules, questions, bytes
inline constexpr std::chrono::seconds SHARE_LOOK{10};
// A lease that was not renewed for this long has ended. Devices renew it every LEASE_RENEWAL.
inline constexpr std::chrono::seconds LEASE_LIFE{150};
inline constexpr std::chrono::seconds LEASE_RENEWAL{60};

struct SharingOptions {
    std::filesystem::path stateDir;
    SharingSettings settings;
    Wifi::ShareControl* share = nullptr;         // outlives the object
    Network::NetworkMonitor* network = nullptr;  // the same
    // Why this device cannot open a hotspot now.
    std::function<SharingObstacle()> obstacle;
    // The name of a device of the account; empty: none has that id.
    std::function<std::string(const std::string& networkId)> nameOf;
    // The owner is asked about that device now (a D-Bus signal, an event). On a thread of the pool.
    std::function<void(const std::string& networkId, const std::string& deviceName)> asked;
    Tasks::Timers* timers = &Tasks::Timers::System();
};

class Sharing : public SoftBus::PeerPolicy {
public:
    // A damaged file is renamed and logged; the rules are then empty. Blocks on the disk.
    static std::shared_ptr<Sharing> Start(SharingOptions options);

    // ---- For peers
    SoftBus::PeerRefusal Admit(const std::string& networkId) override = 0;
    virtual DeviceFacts FactsFor(const std::string& networkId) = 0;  // blocks, at most 2 s
    virtual LeaseAnswer OnLease(const std::string& networkId, const LeaseRequest& request) = 0;
    // Blocks until the hotspot is closed, at most 3 s.
    virtual ReleaseAnswer OnRelease(const std::string& networkId, const ReleaseRequest& request) = 0;
    // That device is no member of the account any more: its lease, rule and question end.
    virtual void OnMemberRemoved(const std::string& networkId) = 0;

    // ---- For programs of this device
    virtual ShareStatus Status() = 0;
    virtual ShareChange Decide(const std::string& networkId, ShareDecision decision) = 0;

    // Ends timers and callbacks, and writes the file. Blocks until that is done. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::Host
