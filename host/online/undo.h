// Undo: reverts on both devices what getting online began: notifies the other device, leaves its network, and
// reconnects to the user's own network. Blocks for at most ONLINE_UNDO_LIMIT; any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/online/online.h"
#include "interfaces/online_answers.h"

namespace Vexo::Host {

inline constexpr std::chrono::seconds RELEASE_LIMIT{3};
inline constexpr std::chrono::seconds LEAVE_LIMIT{10};
inline constexpr std::chrono::seconds SECOND_RELEASE_LIMIT{5};

// A device whose network this device uses, or has requested.
struct DeviceInUse {
    std::string networkId;
    std::string deviceName;
    std::optional<DeviceFacts> facts;
    uint32_t wifiAttempt = 0;  // number of the join; 0: no join has begun
    std::string macAddress;    // of this device's station; empty before the join
};

// Returns whether this device is on the network that it joined through that device. Does not block.
bool IsOnNetworkOf(const OnlineOptions& options, const DeviceInUse& device);

struct Undone {
    TakenBack takenBack;
    std::optional<OnlineFault> fault;  // what could not be undone on this device
};

// Reverts the attempt at the device, or the use of its network. stop: cancelled when the daemon ends; null: never. Once
// stop is cancelled, Undo begins no further step.
Undone Undo(const OnlineOptions& options, const DeviceInUse& device, Cancellation* stop);
// Notifies the device that this device no longer uses its network, and returns its answer; no value if it did not
// answer within limit.
std::optional<ReleaseAnswer> Release(const OnlineOptions& options, const DeviceInUse& device,
                                     std::chrono::milliseconds limit, Cancellation* stop);

}  // namespace Vexo::Host
