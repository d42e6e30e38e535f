// AccountView: the members of the account and their names, according to the account's state (trust/account_state.h).
// Without a state every device that has a certificate of the account counts as a member. Thread-safe; AccountView has
// its own lock. No call blocks. Next: state_exchange.h (where the state comes from).
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
    // Replaces the account's state. state: may be null. removedAt: when the account removed this device; nullopt keeps
    // the earlier value.
    void Use(const std::string& ownNetworkId, Trust::SignedStatePtr state,
             std::optional<std::chrono::sys_seconds> removedAt) EXCLUDES(mutex_);
    void SetOwnRemoval(std::chrono::sys_seconds at) EXCLUDES(mutex_);

    Trust::SignedStatePtr State() const EXCLUDES(mutex_);  // null: not known
    uint64_t Number() const EXCLUDES(mutex_);              // the number of the state; 0 without a state
    std::string OwnNetworkId() const EXCLUDES(mutex_);
    bool IsMember(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns true if a network id that begins with idPrefix was removed from the account, and no member's id begins
    // with idPrefix.
    bool IsRemoved(const std::string& idPrefix) const EXCLUDES(mutex_);
    // Returns the device's name in the account's state. fallback: returned if the state has no such device.
    std::string NameOf(const std::string& networkId, const std::string& fallback) const EXCLUDES(mutex_);
    std::optional<std::chrono::sys_seconds> RemovedAt() const EXCLUDES(mutex_);  // removal of this device
    // Returns a text such as "this device was removed from the account on 2026-11-22". Empty if this device was not
    // removed.
    std::string OwnRemovalText() const EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::string ownNetworkId_ GUARDED_BY(mutex_);
    Trust::SignedStatePtr state_ GUARDED_BY(mutex_);
    std::optional<std::chrono::sys_seconds> removedAt_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::SoftBus
