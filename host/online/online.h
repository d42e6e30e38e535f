// Online: gets this device online through another device of the account, and off again: at most one attempt at a time,
// begun by a program (which may wait for it or cancel it, and whose end cancels it) or by automatic mode (auto_mode.h).
// An attempt tries one device after the other (candidates.h); at each it checks this device's Wi-Fi, asks for the
// device's facts, lets the service ask for the hotspot, waits for the join, and checks the network. Whatever ends an
// attempt badly is undone on both devices. While this device is online it renews its lease at the other one. Attempts
// run on a thread of the pool; calls do not block unless they say so. Any thread.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/peers/peer_link.h"
#include "interfaces/host_answers.h"
#include "interfaces/i_distnet_host.h"
#include "interfaces/online_answers.h"
#include "platform/base/nocopyable.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/station_control.h"

namespace Vexo::Host {

inline constexpr const char* ONLINE_FILE = "online.json";  // in the state folder: auto, preferences, successes

// Asks the service for the network of a device (its code 2), which blocks for up to 14 s.
struct ServiceAnswer {
    bool wasAsked = false;  // false: the service did not start
    int32_t code = 0;
};
using AskService = std::function<ServiceAnswer(const std::string& networkId)>;

struct OnlineOptions {
    std::filesystem::path stateDir;
    std::shared_ptr<PeerLink> peers;
    Wifi::StationControl* station = nullptr;     // outlives the object
    Network::NetworkMonitor* network = nullptr;  // the same
    std::function<WifiStatus()> wifi;            // of this device: radio, latest attempt
    // Blocks until the Wi-Fi's attempt or state differs from known, or the limit has passed; returns the state.
    std::function<WifiStatus(const WifiStatus& known, std::chrono::milliseconds limit)> waitForWifi;
    std::function<std::vector<KnownDevice>()> devices;
    // Why no device can be asked: NO_ACCOUNT, REMOVED; no value: it can.
    std::function<std::optional<OnlineFault>()> whyNoAccount;
    AskService askService;
    // This device is on a network on which that device has the address (its gateway): try it there first. Empty: this
    // device has left the network.
    std::function<void(const std::string& networkId, const std::string& ipAddress)> suggestAddress;
    Tasks::Timers* timers = &Tasks::Timers::System();
};

class Online : public NoCopyable, public std::enable_shared_from_this<Online> {
public:
    // Blocks on the disk.
    static std::shared_ptr<Online> Start(OnlineOptions options);
    virtual ~Online() = default;

    // ---- For programs. owner: the process that begins an attempt, and may wait for it and cancel it.
    // networkIds: those to try, in this order; empty: all known ones, the best first.
    virtual OnlineAnswer Begin(pid_t owner, OnlineMode mode, const std::vector<std::string>& networkIds) = 0;
    // Answers as soon as the revision differs from the given one, or at the limit.
    virtual void WaitForChange(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                               IDistNetHost::Answer<OnlineAnswer> answer) = 0;
    // Ends the attempt, undoes it and then answers, within ONLINE_UNDO_LIMIT. wasTimeout: the program's limit passed.
    virtual void Cancel(pid_t owner, bool wasTimeout, IDistNetHost::Answer<OnlineAnswer> answer) = 0;
    // Ends an attempt, of any program, and leaves the other device's network; then answers, within ONLINE_UNDO_LIMIT.
    virtual void Down(IDistNetHost::Answer<DownAnswer> answer) = 0;
    virtual OnlineStatus Status() = 0;
    virtual OnlineChange SetAuto(bool isOn) = 0;
    virtual OnlineChange SetPreferred(const std::vector<std::string>& networkIds) = 0;
    // Asks the reachable devices for their facts, all at once, and returns when all have answered or the limit passed.
    // Blocks.
    virtual void RefreshFacts(std::chrono::milliseconds limit) = 0;

    // ---- For the daemon
    // A device refused this one (SoftBus::PeerPolicy::OnRefusedBy). Does not block.
    virtual void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) = 0;
    // Call when the last connection of that process has closed: cancels its attempt.
    virtual void OnProcessGone(pid_t process) = 0;
    // Leaves the account: preferences, facts and successes are forgotten.
    virtual void Forget() = 0;
    // Ends the attempt, tells the device in use (within 0.5 s), and ends all timers. Leaves no network. Blocks for at
    // most 1 s; the thread of an attempt that waits for the service ends later, without a further call. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::Host
