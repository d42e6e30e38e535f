// Attempt: one attempt to get online. It tries the candidates (other devices) in order until this device is online or
// no candidate is left. If a device fails, its part of the attempt is undone before the next device is tried. The
// attempt runs on the thread that calls Run. A cancellation takes effect between two blocking calls, and also inside
// blocking calls that can be interrupted. The request to the service cannot be interrupted.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/online/cancellation.h"
#include "host/online/online.h"
#include "host/online/online_faults.h"
#include "host/online/online_memory.h"
#include "host/online/undo.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Host {

inline constexpr std::chrono::seconds FIND_LIMIT{12};
// The time limit for asking all reachable devices for their DeviceFacts, before the devices are ranked.
inline constexpr std::chrono::seconds FACTS_ROUND_LIMIT{3};
// The time limit for asking one device for its DeviceFacts after a failure at that device.
inline constexpr std::chrono::seconds FRESH_FACTS_LIMIT{2};
inline constexpr std::chrono::seconds JOIN_LIMIT{60};
inline constexpr std::chrono::seconds ONLINE_CHECK_LIMIT{10};
inline constexpr std::chrono::seconds OWNER_RETRY{5};  // pause between requests while an owner is being asked
inline constexpr int OWNER_RETRIES = 12;

struct AttemptTask {
    OnlineMode mode = OnlineMode::UP;
    std::vector<std::string> networkIds;  // the devices to try, in this order; empty: all devices, the best first
    std::optional<DeviceInUse> before;    // the device through which this device is already online
    std::vector<OnlineStep> stepsBefore;  // the steps that got this device online through `before`
};

struct AttemptEnd {
    std::optional<DeviceInUse> inUse;  // the device whose network this device is on now
    bool isNew = false;                // inUse is the result of this attempt, not AttemptTask::before
    // no value: this device is online; if fault and inUse are both set, this device is not online, but still on the
    // network of inUse
    std::optional<OnlineFault> fault;
    std::optional<UndoneChanges> undoneChanges;
};

class Attempt : public NoCopyable {
public:
    struct Environment {
        OnlineOptions options;
        std::shared_ptr<OnlineMemory> memory;
        Cancellation* cancellation = nullptr;  // cancels this attempt
        Cancellation* stop = nullptr;          // cancelled when the daemon ends
        // becomes false when a program takes over this attempt from automatic mode
        const std::atomic<bool>* isAutomatic = nullptr;
        std::function<void(const std::vector<OnlineStep>&)> changed;
        std::function<void(const DeviceInUse&)> asked;  // called before the device is asked to open its hotspot
    };

    Attempt(Environment environment, AttemptTask task);

    // Runs the attempt. Blocks for up to several minutes.
    AttemptEnd Run();

private:
    // The progress of the attempt at one device.
    struct Trial {
        KnownDevice device;
        FaultDevice named;
        DeviceInUse use;
        bool mayBeOpen = false;   // the device's hotspot may be open because of this attempt
        WifiStatus wifiBefore{};  // the Wi-Fi's status before the service was asked for the hotspot
        std::optional<Wifi::JoinedNetwork> joined{};
    };
    struct Failure {
        OnlineFault fault;
        OnlineStepKind step;
    };
    using Fault = std::optional<OnlineFault>;  // no value: success

    Fault CheckThisDevice() const;
    std::vector<KnownDevice> Candidates();
    bool IsStillOnline();
    Trial TrialOf(const std::string& networkId) const;

    // The following functions return true if this device is online now. Before they return false, they undo their
    // changes at each device that they tried (GiveUp). Exception: in mode START, a network without internet is kept
    // (end_.inUse).
    bool Try(Trial& trial);
    bool JoinAndCheck(Trial& trial);
    bool WaitForOwners(const std::vector<Trial>& asked);

    Fault Find(Trial& trial, size_t step);
    Fault WhyNotByItself(const Trial& trial) const;
    Fault OpenHotspot(Trial& trial, size_t step);
    OnlineFault WhyNoHotspot(Trial& trial, int32_t code, std::chrono::milliseconds took);
    void RefreshFactsOf(Trial& trial);
    Fault Join(Trial& trial, size_t step);
    Fault CheckNetwork(Trial& trial);

    size_t BeginStep(OnlineStepKind kind, const FaultDevice& device);
    Fault EndStep(size_t step, Fault fault);
    // Records the failure at a device, undoes the attempt at that device, and returns false.
    bool GiveUp(Trial& trial, const OnlineFault& fault, OnlineStepKind step);
    void Record(const OnlineFault& fault, OnlineStepKind step);
    void KeepUndoneChanges(UndoneChanges undoneChanges);
    void EndPreviousUse();
    AttemptEnd End();
    bool IsCancelled() const { return env_.cancellation->IsCancelled(); }
    Fault Cancelled(const Trial& trial) const;

    const Environment env_;
    const OnlineOptions& options_;
    const AttemptTask task_;
    std::optional<DeviceInUse> before_;
    std::vector<OnlineStep> steps_;
    std::vector<SteadyTime> stepsBegan_;
    std::vector<Failure> failures_;  // the latest failure at each device
    std::vector<Trial> asked_;       // the devices whose owners are being asked
    AttemptEnd end_;
    bool isOnline_ = false;
};

}  // namespace Vexo::Host
