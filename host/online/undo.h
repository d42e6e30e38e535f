// Undo: takes back on both devices what getting online began: tells the other device, leaves its network, and goes back
// to the user's own. Blocks for at most ONLINE_UNDO_LIMIT; any thread.
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

// A device whose network this device uses, or has asked for.
struct DeviceInUse {
    std::string networkId;
    std::string deviceName;
    std::optional<DeviceFacts> facts;
    uint32_t wifiAttempt = 0;  // 0: no join has begun
    std::string macAddress;    // of this device's station; empty before it has joined
};

// Whether this device is on the network that it joined through the device. Does not block.
bool IsOnNetworkOf(const OnlineOptions& options, const DeviceInUse& device);

struct Undone {
    TakenBack takenBack;
    std::optional<OnlineFault> fault;  // what could not be undone here
};

// stop: the daemon ends; null: none. After that the device is told once at most, and this device stays where it is.
Undone Undo(const OnlineOptions& options, const DeviceInUse& device, Cancellation* stop);
// Only tells the device that this one is done with it.
std::optional<ReleaseAnswer> Release(const OnlineOptions& options, const DeviceInUse& device,
                                     std::chrono::milliseconds limit, Cancellation* stop);

}  // namespace Vexo::Host
