// AccountView: which devices are members of the account, and their names, according to the account's state
// (trust/account_state.h). Without a state every device with a certificate of the account counts as a member. Any
// thread; has its own lock. No call blocks. Next: state_exchange.h (where the state comes from).
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/trust/account_state.h"

namespace Vexo::SoftBus {

class AccountView : public NoCopyable {
public:
    // Replaces the state, which may be null. removedAt: when the account removed this device; nullopt keeps the earlier
    // value.
    void Use(const std::string& ownNetworkId, Trust::SignedStatePtr state,
             std::optional<std::chrono::sys_seconds> removedAt) EXCLUDES(mutex_);
    void SetOwnRemoval(std::chrono::sys_seconds at) EXCLUDES(mutex_);

    Trust::SignedStatePtr State() const EXCLUDES(mutex_);  // null: not known
    uint64_t Number() const EXCLUDES(mutex_);              // of the state; 0 without one
    std::string OwnNetworkId() const EXCLUDES(mutex_);
    bool IsMember(const std::string& networkId) const EXCLUDES(mutex_);
    // Whether idPrefix is the beginning of the network id of a removed device, and of no member's.
    bool IsRemoved(const std::string& idPrefix) const EXCLUDES(mutex_);
    // Returns the name of the device in the state, or fallback if the device is not in it.
    std::string NameOf(const std::string& networkId, const std::string& fallback) const EXCLUDES(mutex_);
    std::optional<std::chrono::sys_seconds> RemovedAt() const EXCLUDES(mutex_);  // removal of this device
    // Returns "this device was removed from the account on 2026-11-22"; empty if it was not removed.
    std::string OwnRemovalText() const EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::string ownNetworkId_ GUARDED_BY(mutex_);
    Trust::SignedStatePtr state_ GUARDED_BY(mutex_);
    std::optional<std::chrono::sys_seconds> removedAt_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::SoftBus
