// Changes to an account's state, on the device that holds the account's key. OpenHolder locks and reads the identity
// folder. The AccountHolder keeps the folder locked until it is destroyed, so that nobody changes the folder before
// StoreState. Only platform/trust uses this header. The functions are thread-safe and block on the disk.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// The name of a marker file. The file means: the account may have members that its state does not list. Such members
// were enrolled by a version without account states, or the state that listed them was lost.
inline constexpr const char* OLDER_ACCOUNT_FILE = "older-account";
// The name of a marker file. The file means: this device was restored from a backup, or lost its state of the account,
// and has not met another member yet.
inline constexpr const char* RESTORED_FILE = "restored";

struct AccountHolder {
    UniqueFd lock;
    std::filesystem::path folder;
    Identity identity;
    PrivateKey accountKey;
    AccountState state;         // the account's state; the caller changes it before StoreState
    bool isFirstState = false;  // true: this device has no state of the account; StoreState writes the first one
};

// Says what OpenHolder does when the account's state names another device as the holder of the account's key:
//   REFUSED   OpenHolder fails.
//   ALLOWED   OpenHolder continues.
//   REPLACED  OpenHolder continues, even on a restored device. The caller then makes this device the holder.
enum class OtherHolder { REFUSED, ALLOWED, REPLACED };

// Locks the identity folder, and loads the identity, the account's key and the account's state. NOT_FOUND: this device
// does not have the account's key, has no link key, or the state names another holder and the argument is
// OtherHolder::REFUSED. REFUSED: the account removed this device. UNAVAILABLE: this device must meet another member
// first, because it was restored or has lost its state.
[[nodiscard]] Result<AccountHolder> OpenHolder(const std::filesystem::path& folder, const Clock& clock,
                                               OtherHolder other = OtherHolder::REFUSED);
// Numbers and signs holder.state as the account's next state, and writes it to disk. Returns the new identity.
[[nodiscard]] Result<Identity> StoreState(AccountHolder& holder, const Clock& clock);

// An identity, and a write lock on its folder that lasts as long as this object.
struct LockedIdentity {
    UniqueFd lock;
    Identity identity;
};
[[nodiscard]] Result<LockedIdentity> LockIdentity(const std::filesystem::path& folder);
// Returns the error ALREADY_EXISTS for a device that belongs to an account already.
Failure AlreadyHasAccount(const std::filesystem::path& folder, const Identity& identity);

// Returns the clock's current time, or the state's number as a time (seconds since 1970) if that time is later. The
// number is ahead of the clock after the clock was set back, or after several changes within one second.
std::chrono::sys_seconds TimeOfChange(const AccountState& state, const Clock& clock);
// Returns this device as a Member, with the name from the device's certificate.
Member SelfOf(const Identity& identity, const Clock& clock);
// Returns an unsigned state with number 0 whose only member is the given holder of the account's key.
AccountState FirstState(X509* account, const LinkKeys& linkKeys, const Member& holder);
// Sets the state's number to the current time in seconds since 1970, but at least to the previous number plus 1. Gives
// the same number to each RemovedKey whose number is 0. Then signs the state with the account's key.
[[nodiscard]] Result<SignedStatePtr> SignNext(AccountState state, X509* account, EVP_PKEY* accountKey,
                                              const Clock& clock);

}  // namespace Vexo::Trust
