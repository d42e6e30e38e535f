// Undo: reverts on both devices what getting online began. It notifies the other device, leaves its network, and
// reconnects to the user's own network. It blocks for at most ONLINE_UNDO_LIMIT. Any thread may call it.
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
    std::string macAddress;    // MAC address of this device's station; empty before the join
};

// Returns true if this device is still on the network that it joined through the given device. Does not block.
bool IsOnNetworkOf(const OnlineOptions& options, const DeviceInUse& device);

struct Undone {
    UndoneChanges undoneChanges;
    std::optional<OnlineFault> fault;  // what could not be undone on this device
};

// Reverts the attempt at the device, or the use of its network. stop: a Cancellation that is cancelled when the daemon
// ends, or null. After this cancellation, the function begins no further step.
Undone Undo(const OnlineOptions& options, const DeviceInUse& device, Cancellation* stop);
// Notifies the other device that this device no longer uses the other device's network. Returns the other device's
// answer, or no value if no answer arrived within the time limit.
std::optional<ReleaseAnswer> Release(const OnlineOptions& options, const DeviceInUse& device,
                                     std::chrono::milliseconds limit, Cancellation* stop);

}  // namespace Vexo::Host
