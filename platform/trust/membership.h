// Changes an account's state (account_state.h) in an identity folder (identity.h). Only the device that holds the
// account's key can make a new state. Every member can adopt a newer state. Each call locks the folder while it changes
// the folder, so the daemon and a command may run at the same time. After a failure at any moment, the folder contains
// the old state or the new one. The functions are thread-safe and block on the disk.
// Read next: account.h (how an account and its members begin), account_backup.h (backup of the account's key).
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// After the account has removed a member, the previous link key stays valid for this long, so that the other members
// can still receive the new state.
inline constexpr std::chrono::hours PREVIOUS_LINK_KEY_LIFE{24 * 30};

// Decodes a signed state from bytes and adopts it if it is a newer state of this account. Writes the state, its link
// keys and its account certificate to disk. Returns the identity with the new state, or nullopt when the device has
// that state already. The error's message is one line for a log. Errors:
//   UNTRUSTED: the state is forged, or belongs to another account
//   UNTRUSTED: the state does not list a removal that this device knows of
//   UNTRUSTED: this device's certificate is not valid under the account certificate in the state
//   MALFORMED: the bytes are damaged
//   INVALID_ARGUMENT: the format of the state is newer
//   ALREADY_EXISTS: this device's state has the same number but different content
//   REFUSED: the state is older than this device's state
//   NOT_FOUND: this device belongs to no account
[[nodiscard]] Result<std::optional<Identity>> AdoptState(const std::filesystem::path& folder, const std::string& bytes);

// RenameMember, RemoveMember, RenewAccount, SetHolder and AddMemberWithoutState need the account's key and return the
// new identity. Each may fail with:
//   NOT_FOUND: this device does not hold the account's key (the message says who does), or has no link key
//   UNAVAILABLE: this device was restored (account_backup.h) or lost its state, and must meet another member first
//   REFUSED: the account removed this device

// Gives a member a new name in the account's state. INVALID_ARGUMENT: the name is not allowed. ALREADY_EXISTS: another
// member has the name. NOT_FOUND: no member has that network id.
[[nodiscard]] Result<Identity> RenameMember(const std::filesystem::path& folder, const std::string& networkId,
                                            const std::string& name, const Clock& clock = Clock::System());
// Removes the member from the account and replaces the link key with a new one. The replaced key becomes the previous
// key and stays valid for PREVIOUS_LINK_KEY_LIFE. Exception: if the account has a previous key that is still valid for
// more than half of PREVIOUS_LINK_KEY_LIFE, that key stays the previous key, and the replaced key is invalid at once. A
// member that missed one or more of these removals knows the previous key, so the member can still get the new state.
// announcesPreviousKey: see AccountState.
// REFUSED: networkId is this device (use LeaveAccount). NOT_FOUND: no member has that network id.
[[nodiscard]] Result<Identity> RemoveMember(const std::filesystem::path& folder, const std::string& networkId,
                                            bool announcesPreviousKey, const Clock& clock = Clock::System());
// Issues new certificates with the same keys for the account and for this device. Each other member receives its new
// certificate at its next contact with this device (RenewedCertificate).
[[nodiscard]] Result<Identity> RenewAccount(const std::filesystem::path& folder, const Clock& clock = Clock::System());
// Writes into the account's state that the member with that network id is the holder of the account's key. Does not
// move the key (key_transfer.h). A device that has the key may name itself even while the state names another holder.
[[nodiscard]] Result<Identity> SetHolder(const std::filesystem::path& folder, const std::string& networkId,
                                         const Clock& clock = Clock::System());
// Adds a device, under a name that no member has, to the account's state. Call this function for a device that has
// presented a certificate of the account. Works only if the account may have members that its state does not list: a
// version without account states created the account, or this device lost the account's state and began a new one.
// Returns nullopt and adds nothing for any other account, and for a device that is already a member or was removed.
[[nodiscard]] Result<std::optional<Identity>> AddMemberWithoutState(const std::filesystem::path& folder, Member member,
                                                                    const Clock& clock = Clock::System());

// The holder of the account's key calls this function. Issues a new certificate for a member and returns it in DER.
// shown: the certificate that the member presented.
// Returns nullopt on failure. Also returns nullopt if the presented certificate was issued after the account's current
// certificate (RenewAccount), or if the new certificate would not expire later than the presented one.
std::optional<std::string> RenewedCertificate(const std::filesystem::path& folder, const std::string& networkId,
                                              X509* shown, const Clock& clock = Clock::System());
// A member calls this function. Installs the member's renewed certificate if it expires later than the current
// certificate. Returns the identity. UNTRUSTED: the certificate is not from this account, or is for another key.
// MALFORMED: the bytes are damaged.
[[nodiscard]] Result<Identity> AdoptCertificate(const std::filesystem::path& folder, const std::string& der);

// Deletes this device's key, its id and all files of the account in the folder. Afterwards this device is a new device.
// Returns REFUSED when this device holds the account's key and the account has other members, or when this device has
// the account's key but does not know the members.
[[nodiscard]] Result<void> LeaveAccount(const std::filesystem::path& folder);

// Stores the signed statement that the account removed this device. From then on Identity::removedAt is set. UNTRUSTED:
// the account's key did not sign the statement.
[[nodiscard]] Result<void> RecordOwnRemoval(const std::filesystem::path& folder, const RemovalStatement& statement);

}  // namespace Vexo::Trust
