// The device that holds an account's key, at work on the account's state: from the reading of the identity folder to
// the writing of a new state its lock is held. Used by platform/trust only. Functions block on the disk; any thread.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// Marker: the state was made for an account that had members before there were states.
inline constexpr const char* OLDER_ACCOUNT_FILE = "older-account";
// Marker: this device was restored from a backup, and has not met another member yet.
inline constexpr const char* RESTORED_FILE = "restored";

struct AccountHolder {
    UniqueFd lock;
    std::filesystem::path folder;
    Identity identity;
    PrivateKey accountKey;
    AccountState state;         // the caller changes it
    bool isFirstState = false;  // the account is of an older version, and has no state yet
};

// The key is on this device, but the account's state names another as the holder: an error; allowed; or allowed because
// this device was restored to take its place.
enum class OtherHolder { REFUSED, ALLOWED, REPLACED };

// NOT_FOUND without the account's key; UNAVAILABLE while this device has to meet another member first, because it was
// restored or has lost its state; REFUSED when the account removed this device.
[[nodiscard]] Result<AccountHolder> OpenHolder(const std::filesystem::path& folder, const Clock& clock,
                                               OtherHolder other = OtherHolder::REFUSED);
// Signs holder.state as the next one and writes it; returns the new identity.
[[nodiscard]] Result<Identity> StoreState(AccountHolder& holder, const Clock& clock);

// The identity of a folder that is locked for writing; key and id are made if they are missing.
struct LockedIdentity {
    UniqueFd lock;
    Identity identity;
};
[[nodiscard]] Result<LockedIdentity> LockIdentity(const std::filesystem::path& folder);
// The error for a device that belongs to an account already.
Failure HasAccount(const std::filesystem::path& folder, const Identity& identity);

// The time by the clock, or of the newest state, if the clock was set back behind that.
std::chrono::sys_seconds TimeOfChange(const AccountState& state, const Clock& clock);
// This device as a member, by the name in its certificate.
Member SelfOf(const Identity& identity, const Clock& clock);
// A state with that device as its only member and holder. Its number is not set.
AccountState FirstState(X509* account, const LinkKeys& linkKeys, const Member& holder);
// Sets the state's number, also where it is 0 in a new RemovedKey, and signs.
[[nodiscard]] Result<SignedStatePtr> SignNext(AccountState state, X509* account, EVP_PKEY* accountKey,
                                              const Clock& clock);

}  // namespace Vexo::Trust
