// Changes to an account's state, on the device that holds the account's key. An AccountHolder keeps the identity folder
// locked from the time it is read until the new state is written. Used by platform/trust only. Functions block on the
// disk; any thread.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// Marker file: the account may have members that its state does not list, because they were enrolled before states
// existed or because the state was lost.
inline constexpr const char* OLDER_ACCOUNT_FILE = "older-account";
// Marker file: this device was restored from a backup, or lost its state, and has not met another member yet.
inline constexpr const char* RESTORED_FILE = "restored";

struct AccountHolder {
    UniqueFd lock;
    std::filesystem::path folder;
    Identity identity;
    PrivateKey accountKey;
    AccountState state;         // the caller changes it before StoreState
    bool isFirstState = false;  // an older version made the account, which has no state yet
};

// What OpenHolder does when the account's state names another device as the holder:
//   REFUSED   fails
//   ALLOWED   continues
//   REPLACED  continues, also on a restored device, which takes the place of that holder
enum class OtherHolder { REFUSED, ALLOWED, REPLACED };

// Locks the folder, and loads the identity, the account's key and the state. NOT_FOUND: this device does not hold the
// account's key, or has no link key. REFUSED: the account removed this device. UNAVAILABLE: this device must meet
// another member first, because it was restored or has lost its state.
[[nodiscard]] Result<AccountHolder> OpenHolder(const std::filesystem::path& folder, const Clock& clock,
                                               OtherHolder other = OtherHolder::REFUSED);
// Signs holder.state as the next state and writes it. Returns the new identity.
[[nodiscard]] Result<Identity> StoreState(AccountHolder& holder, const Clock& clock);

// An identity, with the lock of its folder for writing.
struct LockedIdentity {
    UniqueFd lock;
    Identity identity;
};
[[nodiscard]] Result<LockedIdentity> LockIdentity(const std::filesystem::path& folder);
// Returns the error for a device that belongs to an account already.
Failure HasAccount(const std::filesystem::path& folder, const Identity& identity);

// Returns the time by the clock, or the time of state when the clock was set back behind it.
std::chrono::sys_seconds TimeOfChange(const AccountState& state, const Clock& clock);
// Returns this device as a member, with the name in its certificate.
Member SelfOf(const Identity& identity, const Clock& clock);
// Returns a state whose only member is the holder. Its number is 0.
AccountState FirstState(X509* account, const LinkKeys& linkKeys, const Member& holder);
// Gives the state its number, and gives the same number to each RemovedKey that has none (0). Then signs the state.
[[nodiscard]] Result<SignedStatePtr> SignNext(AccountState state, X509* account, EVP_PKEY* accountKey,
                                              const Clock& clock);

}  // namespace Vexo::Trust
