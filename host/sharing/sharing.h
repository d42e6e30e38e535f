// Sharing: lets other devices of the account use this device's network through its hotspot. It decides which devices
// may do so (share_policy.h), keeps the leases of these devices (share_leases.h), and counts the bytes (share_usage.h).
// If the daemon opened the hotspot, Sharing closes it in each of these cases: no device uses the hotspot any more, the
// battery is below the level that the owner has set, or the monthly data limit is used up. While a hotspot is on,
// Sharing reads its state every SHARE_UPDATE_INTERVAL. Without a hotspot, Sharing has no timer. Any thread may use it.
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

inline constexpr const char* SHARING_FILE = "sharing.json";  // a file in the state folder: rules, questions, bytes
inline constexpr std::chrono::seconds SHARE_UPDATE_INTERVAL{10};
inline constexpr std::chrono::milliseconds RELEASE_PAUSE{300};

struct SharingOptions {
    std::filesystem::path stateDir;
    SharingSettings settings;
    Wifi::ShareControl* share = nullptr;         // must outlive the Sharing object
    Network::NetworkMonitor* network = nullptr;  // must outlive the Sharing object
    // Returns why this device cannot open a hotspot now, or NONE if it can.
    std::function<SharingObstacle()> obstacle;
    // Returns the name of a device of the account, or an empty text if no device has this id.
    std::function<std::string(const std::string& networkId)> nameOf;
    // Notifies desktop programs. Called after a question to the owner about the given device was opened. Runs on a
    // thread of the pool.
    std::function<void(const std::string& networkId, const std::string& deviceName)> asked;
    Tasks::Timers* timers = &Tasks::Timers::System();
};

class Sharing : public NoCopyable {
public:
    virtual ~Sharing() = default;

    // Creates Sharing and loads sharing.json. Blocks on the disk. A damaged file is renamed and logged; the rules are
    // then empty.
    static std::shared_ptr<Sharing> Start(SharingOptions options);

    // ---- Functions for other devices.
    // Decides whether the given device may use the service now (PeerPolicy::Admit). May open a question to the owner.
    // Does not block. A battery level older than 60 s counts as unknown, and the battery is then read again in the
    // background.
    virtual SoftBus::PeerRefusal Admit(const std::string& networkId) = 0;
    // Returns the DeviceFacts that this device sends to the given other device. Opens no question to the owner. Blocks
    // for at most 2 s.
    virtual DeviceFacts FactsFor(const std::string& networkId) = 0;
    // OnLease and OnRelease block while the hotspot's state is read, well under 100 ms.
    virtual LeaseAnswer OnLease(const std::string& networkId, const LeaseRequest& request) = 0;
    // If the daemon opened the hotspot and no device uses it any more, the hotspot is closed after the delay
    // RELEASE_PAUSE. The hotspot is not closed at once, because the ReleaseAnswer may be sent over it.
    virtual ReleaseAnswer OnRelease(const std::string& networkId, const ReleaseRequest& request) = 0;
    // Call when the given device is no longer a member of the account. Ends the device's lease and removes its rule and
    // question. Blocks while the hotspot's state is read.
    virtual void OnMemberRemoved(const std::string& networkId) = 0;

    // ---- Functions for programs of this device.
    virtual ShareStatus Status() = 0;  // blocks while the hotspot's state is read
    // Stores the owner's decision about the given device. NEVER also ends the device's use of the network, and closes
    // the hotspot if no other device uses it. Blocks on the disk.
    virtual ShareChange Decide(const std::string& networkId, ShareDecision decision) = 0;

    // Stops timers and callbacks, and writes sharing.json. Blocks until the file is written, so a callback must not
    // call Stop. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::Host
