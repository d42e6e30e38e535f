// Attempt: one run over the candidates, on the thread that calls Run, until this device is online or none is left. What
// a device that failed was asked for is undone before the next one is tried. A cancellation is noticed between two
// calls that block, and inside those that can be interrupted; the service's request cannot.
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
inline constexpr std::chrono::seconds FACTS_ROUND_LIMIT{3};  // for the facts of all reachable devices, before the order
inline constexpr std::chrono::seconds FRESH_FACTS_LIMIT{2};  // after the service's request has failed
inline constexpr std::chrono::seconds JOIN_LIMIT{60};
inline constexpr std::chrono::seconds ONLINE_CHECK_LIMIT{10};
inline constexpr std::chrono::seconds OWNER_RETRY{5};  // while an owner is being asked
inline constexpr int OWNER_RETRIES = 12;

struct AttemptTask {
    OnlineMode mode = OnlineMode::UP;
    std::vector<std::string> networkIds;  // those to try, in this order; empty: all, the best first
    std::optional<DeviceInUse> before;    // through which this device is online already
    std::vector<OnlineStep> stepsBefore;  // by which it got there
};

struct AttemptEnd {
    std::optional<DeviceInUse> inUse;  // whose network this device is on now
    bool isNew = false;                // inUse is not the one of before
    std::optional<OnlineFault> fault;  // no value: online. With inUse: that network is kept all the same
    std::optional<TakenBack> takenBack;
};

class Attempt : public NoCopyable {
public:
    struct Environment {
        OnlineOptions options;
        std::shared_ptr<OnlineMemory> memory;
        Cancellation* cancellation = nullptr;            // ends the attempt
        Cancellation* stop = nullptr;                    // the daemon ends
        const std::atomic<bool>* isAutomatic = nullptr;  // may become false, when a person asks for the same
        std::function<void(const std::vector<OnlineStep>&)> changed;
        std::function<void(const DeviceInUse&)> asked;  // the device may have opened its hotspot from now on
    };

    Attempt(Environment environment, AttemptTask task);

    // Blocks, for minutes.
    AttemptEnd Run();

private:
    // What a device was asked for, and how far that came.
    struct Trial {
        KnownDevice device;
        FaultDevice named;
        DeviceInUse use;
        bool mayBeOpen = false;   // the device's hotspot
        WifiStatus wifiBefore{};  // before the service was asked
        std::optional<Wifi::JoinedNetwork> joined{};
    };
    struct Failure {
        OnlineFault fault;
        OnlineStepKind step;
    };
    using Fault = std::optional<OnlineFault>;  // no value: it went well

    Fault WhyNotHere() const;
    std::vector<KnownDevice> Candidates();
    bool IsStillOnline();
    Trial TrialOf(const std::string& networkId) const;

    // Each ends with this device online (true), or with what the device was asked for undone.
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
    // Records the failure and undoes what the device was asked for; false.
    bool GiveUp(Trial& trial, const OnlineFault& fault, OnlineStepKind step);
    void Record(const OnlineFault& fault, OnlineStepKind step);
    void KeepTakenBack(TakenBack takenBack);
    void EndBefore();
    AttemptEnd End();
    bool IsCancelled() const { return env_.cancellation->IsCancelled(); }
    Fault Cancelled(const Trial& trial) const;

    const Environment env_;
    const OnlineOptions& options_;
    const AttemptTask task_;
    std::optional<DeviceInUse> before_;
    std::vector<OnlineStep> steps_;
    std::vector<SteadyTime> stepsBegan_;
    std::vector<Failure> failures_;  // the latest of each device
    std::vector<Trial> asked_;       // whose owners are being asked
    AttemptEnd end_;
    bool isOnline_ = false;
};

}  // namespace Vexo::Host
