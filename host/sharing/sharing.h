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
inline constexpr std::chrono::milliseconds RELEASE_PAUSE{300};

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

class Sharing : public NoCopyable {
public:
    virtual ~Sharing() = default;

    // A damaged file is renamed and logged; the rules are then empty. Blocks on the disk.
    static std::shared_ptr<Sharing> Start(SharingOptions options);

    // ---- For peers
    // For PeerPolicy::Admit: whether that device may use the service now. Opens a question if need be. Does not block.
    // A battery level older than 60 s counts as unknown; it is read anew, and a look at the hotspot closes it then.
    virtual SoftBus::PeerRefusal Admit(const std::string& networkId) = 0;
    // Opens no question. Blocks, at most 2 s.
    virtual DeviceFacts FactsFor(const std::string& networkId) = 0;
    // Both block for a look at the hotspot, well under 100 ms.
    virtual LeaseAnswer OnLease(const std::string& networkId, const LeaseRequest& request) = 0;
    // The hotspot closes after the answer, which may travel over it: RELEASE_PAUSE later.
    virtual ReleaseAnswer OnRelease(const std::string& networkId, const ReleaseRequest& request) = 0;
    // That device is no member of the account any more: its lease, rule and question end. Blocks
    // for a look at the hotspot.
    virtual void OnMemberRemoved(const std::string& networkId) = 0;

    // ---- For programs of this device
    virtual ShareStatus Status() = 0;  // blocks for a look at the hotspot
    // Blocks on the disk. NEVER also ends the device's use, and closes the hotspot if nobody else uses it.
    virtual ShareChange Decide(const std::string& networkId, ShareDecision decision) = 0;

    // Ends timers and callbacks, and writes the file. Blocks until that is done, not from a callback. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::Host
