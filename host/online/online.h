// Online: gets this device online through another device of the account, and offline again. At most one attempt runs at
// a time. Either a program or automatic mode (auto_mode.h) begins it. A program may wait for its attempt or cancel it;
// when the program ends, its attempt is cancelled.
// An attempt tries one device after the other (candidates.h). For each device it checks this device's Wi-Fi, asks the
// device for its facts (DeviceFacts), lets the service request the device's hotspot, waits for the join, and checks the
// network. A failed or cancelled attempt is undone on both devices. While this device is online it renews its lease at
// the other device.
// Attempts run on a thread of the pool. A function does not block unless its comment says so. Any thread may call.
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

inline constexpr const char* ONLINE_FILE = "online.json";  // a file in the state folder; see online_file.h

// The service's answer to a request for the network of a device (request 2 of the service). The function AskService
// sends this request and blocks for up to 14 s.
struct ServiceAnswer {
    bool wasAsked = false;  // false: the service did not start
    int32_t code = 0;
};
using AskService = std::function<ServiceAnswer(const std::string& networkId)>;

struct OnlineOptions {
    std::filesystem::path stateDir;
    std::shared_ptr<PeerLink> peers;
    Wifi::StationControl* station = nullptr;     // must outlive the Online object
    Network::NetworkMonitor* network = nullptr;  // must outlive the Online object
    std::function<WifiStatus()> wifi;            // returns the status of this device's radio and of its latest join
    // Blocks until the status differs from the status that the caller knows (a newer join or another state), or until
    // the time limit has passed. Returns the current status.
    std::function<WifiStatus(const WifiStatus& known, std::chrono::milliseconds limit)> waitForWifi;
    std::function<std::vector<KnownDevice>()> devices;
    // Returns why no other device can be asked for its network (NO_ACCOUNT or REMOVED), or no value if devices can be
    // asked.
    std::function<std::optional<OnlineFault>()> whyNoAccount;
    AskService askService;
    // ipAddress: the address that the device with the given network id has on the network that this device has joined
    // (the gateway). The link to other devices then tries this address first. Empty: this device has left the network.
    std::function<void(const std::string& networkId, const std::string& ipAddress)> suggestAddress;
    Tasks::Timers* timers = &Tasks::Timers::System();
};

class Online : public NoCopyable, public std::enable_shared_from_this<Online> {
public:
    // Creates Online and loads online.json. Blocks on the disk.
    static std::shared_ptr<Online> Start(OnlineOptions options);
    virtual ~Online() = default;

    // ---- Functions for programs. owner: the process that begins an attempt. Only this process may wait for the
    // ---- attempt or cancel it.
    // networkIds: the devices to try, in this order; empty: all known devices, the best first.
    virtual OnlineAnswer Begin(pid_t owner, OnlineMode mode, const std::vector<std::string>& networkIds) = 0;
    // Answers as soon as the attempt's revision differs from the given revision, or after the time limit.
    virtual void WaitForChange(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                               IDistNetHost::Answer<OnlineAnswer> answer) = 0;
    // Cancels and undoes the attempt, and then answers. This takes at most ONLINE_UNDO_LIMIT. wasTimeout: true if the
    // program cancels because its own time limit has passed.
    virtual void Cancel(pid_t owner, bool wasTimeout, IDistNetHost::Answer<OnlineAnswer> answer) = 0;
    // Cancels the attempt of any program, leaves the other device's network, and then answers. This takes at most
    // ONLINE_UNDO_LIMIT.
    virtual void Down(IDistNetHost::Answer<DownAnswer> answer) = 0;
    virtual OnlineStatus Status() = 0;
    // SetAuto and SetPreferred block on the disk.
    virtual OnlineChange SetAuto(bool isOn) = 0;
    virtual OnlineChange SetPreferred(const std::vector<std::string>& networkIds) = 0;
    // Asks all reachable devices for their DeviceFacts at the same time. Blocks until all devices have answered or the
    // time limit has passed.
    virtual void RefreshFacts(std::chrono::milliseconds limit) = 0;

    // ---- Functions for the daemon.
    // Call when another device has refused this device (SoftBus::PeerPolicy::OnRefusedBy). Does not block.
    virtual void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) = 0;
    // Call when the last connection of the given process has closed. Cancels the process's attempt.
    virtual void OnProcessGone(pid_t process) = 0;
    // Call when this device has left its account. Deletes preferences, facts and successes. Blocks on the disk.
    virtual void Forget() = 0;
    // Cancels the attempt, notifies the device whose network is in use (within 0.5 s), and stops all timers. Does not
    // leave the network. Blocks for at most 1 s. An attempt that waits for the service ends later on its own thread,
    // and begins no further step. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::Host
