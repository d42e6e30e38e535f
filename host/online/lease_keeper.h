// LeaseKeeper: while this device uses another device's hotspot, renews this device's lease. A lease is the other
// device's record of this use (peer_messages.h). LeaseKeeper also watches whether this device is still on the network.
// LeaseKeeper runs on the pool of the timers. Any thread may call it. Stop does not wait for a running renewal.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "host/online/undo.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

inline constexpr std::chrono::seconds LEASE_RETRY{5};  // pause after a request that got no answer
inline constexpr std::chrono::seconds LEASE_ANSWER_LIMIT{5};

class LeaseKeeper : public NoCopyable, public std::enable_shared_from_this<LeaseKeeper> {
public:
    // Starts the work on a thread of the pool. lost: called at most once, when this device is no longer on the network
    // of the given device. Stop prevents a later call, but does not wait for a running call.
    static std::shared_ptr<LeaseKeeper> Start(const OnlineOptions& options, DeviceInUse device,
                                              std::function<void()> lost);

    // Returns true if the other device granted or renewed the lease within the last LEASE_LIFE and has not refused it
    // since. Returns false after Stop and after the loss of the network.
    bool IsHeld() const EXCLUDES(mutex_);
    // Checks whether this device is still on the network. Does not block; may call the callback `lost` on this thread.
    void Check() EXCLUDES(mutex_);
    void Stop() EXCLUDES(mutex_);

private:
    LeaseKeeper(const OnlineOptions& options, DeviceInUse device, std::function<void()> lost);

    void Renew() EXCLUDES(mutex_);
    void RenewAfter(std::chrono::milliseconds delay) EXCLUDES(mutex_);

    const OnlineOptions options_;
    const DeviceInUse device_;
    mutable Mutex mutex_;
    std::function<void()> lost_ GUARDED_BY(mutex_);  // empty after it was called, and after Stop
    bool isAsking_ GUARDED_BY(mutex_) = true;        // becomes false when the device refuses the lease
    std::optional<SteadyTime> heldAt_ GUARDED_BY(mutex_);
    Tasks::Timer timer_ GUARDED_BY(mutex_);
    Cancellation stopped_;  // has its own synchronisation
};

}  // namespace Vexo::Host
