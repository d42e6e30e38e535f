// LeaseKeeper: while this device uses another one's network, keeps the lease at that device and watches the network.
// Runs on the timers' pool; any thread may call; Stop does not wait for a request that runs.
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

inline constexpr std::chrono::seconds LEASE_RENEWAL{60};
inline constexpr std::chrono::seconds LEASE_RETRY{5};  // until it is held, and when a renewal was not answered
inline constexpr std::chrono::seconds LEASE_LIFE{150};
inline constexpr std::chrono::seconds LEASE_ANSWER_LIMIT{5};

class LeaseKeeper : public NoCopyable, public std::enable_shared_from_this<LeaseKeeper> {
public:
    // Begins at once, on a thread of the pool. lost is called once, on a thread of the pool, when this device is not on
    // the device's network any more; not after Stop.
    static std::shared_ptr<LeaseKeeper> Start(const OnlineOptions& options, DeviceInUse device,
                                              std::function<void()> lost);

    // The device knows that this one uses it.
    bool IsHeld() const EXCLUDES(mutex_);
    // Looks at the network now. Does not block; may call lost.
    void Check() EXCLUDES(mutex_);
    void Stop() EXCLUDES(mutex_);

private:
    LeaseKeeper(const OnlineOptions& options, DeviceInUse device, std::function<void()> lost);

    void Renew() EXCLUDES(mutex_);
    void RenewAfter(std::chrono::milliseconds delay) EXCLUDES(mutex_);

    const OnlineOptions options_;
    const DeviceInUse device_;
    mutable Mutex mutex_;
    std::function<void()> lost_ GUARDED_BY(mutex_);  // empty once it was called, or after Stop
    bool isAsking_ GUARDED_BY(mutex_) = true;        // false: the device said that it holds no lease for this one
    std::optional<SteadyTime> heldAt_ GUARDED_BY(mutex_);
    Tasks::Timer timer_ GUARDED_BY(mutex_);
    Cancellation stopped_;  // own synchronisation
};

}  // namespace Vexo::Host
