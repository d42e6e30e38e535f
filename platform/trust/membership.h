// Changes to an account's state (account_state.h) in an identity folder (identity.h). Only the device that holds the
// account's key can make a new state; every member can adopt a newer one. Each call keeps the folder locked while it
// changes the folder, so a daemon and a command may run at the same time. After a failure at any moment, the folder
// contains the old state or the new one. Functions block on the disk; any thread.
// Next: account.h (how an account and its members begin), account_backup.h (backup of the account's key).
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

// After a removal, the previous link key stays valid for this long, so that members can still receive the new state.
inline constexpr std::chrono::hours PREVIOUS_LINK_KEY_LIFE{24 * 30};

// Adopts bytes if they are a newer state of this account: writes the state, its link keys and its account certificate.
// Returns the identity with the new state, or nullopt when the device has that state already. The error's message is
// one line for a log. Errors:
//   UNTRUSTED: forged, or of another account
//   UNTRUSTED: does not list a removal that this device knows of
//   UNTRUSTED: this device's certificate is not valid under the account certificate in the state
//   MALFORMED: damaged
//   INVALID_ARGUMENT: the format is newer
//   ALREADY_EXISTS: the same number with other content
//   REFUSED: older
[[nodiscard]] Result<std::optional<Identity>> AdoptState(const std::filesystem::path& folder, const std::string& bytes);

// The functions from here to AddOlderMember need the account's key and return the new identity. Each may fail with:
//   NOT_FOUND: another device holds the account's key; the message names that member
//   UNAVAILABLE: this device was restored (account_backup.h) or lost its state, and must meet another member first
//   REFUSED: the account removed this device

// INVALID_ARGUMENT: the name is not allowed. ALREADY_EXISTS: another member has it. NOT_FOUND: no such member.
[[nodiscard]] Result<Identity> RenameMember(const std::filesystem::path& folder, const std::string& networkId,
                                            const std::string& name, const Clock& clock = Clock::System());
// Removes the member and creates a new link key. The link key until now stays valid for PREVIOUS_LINK_KEY_LIFE as the
// previous key. However, if an earlier previous key has more than half of that time left, it remains the previous key,
// because all members that have missed a removal know it. announcesPreviousKey: see AccountState. REFUSED: networkId is
// this device (use LeaveAccount). NOT_FOUND: no such member.
[[nodiscard]] Result<Identity> RemoveMember(const std::filesystem::path& folder, const std::string& networkId,
                                            bool announcesPreviousKey, const Clock& clock = Clock::System());
// Issues new certificates for the account and for this device, with the same keys. Each other member receives its new
// certificate at its next contact with this device (RenewedCertificate).
[[nodiscard]] Result<Identity> RenewAccount(const std::filesystem::path& folder, const Clock& clock = Clock::System());
// Names that member as the holder in the state. Does not move the key (key_transfer.h). A device that has the key may
// name itself even while the state names another holder.
[[nodiscard]] Result<Identity> SetHolder(const std::filesystem::path& folder, const std::string& networkId,
                                         const Clock& clock = Clock::System());
// Adds a device to the state of an account that is older than states, under a free name. The device has shown a
// certificate of the account. Returns nullopt when nothing is added: the account is not older than states, or the
// device is a member or was removed.
[[nodiscard]] Result<std::optional<Identity>> AddOlderMember(const std::filesystem::path& folder, Member member,
                                                             const Clock& clock = Clock::System());

// On the holder: issues a new certificate in DER for a member. shown: the certificate that the member presented.
// Returns nullopt on failure, when RenewAccount has not been called since shown was issued, or when the new certificate
// would not expire later.
std::optional<std::string> RenewedCertificate(const std::filesystem::path& folder, const std::string& networkId,
                                              X509* shown, const Clock& clock = Clock::System());
// On the member: installs its renewed certificate if that expires later than the current one. Returns the identity.
// UNTRUSTED: not of this account, or for another key. MALFORMED: damaged.
[[nodiscard]] Result<Identity> AdoptCertificate(const std::filesystem::path& folder, const std::string& der);

// Deletes this device's account, key and id, which makes it a new device. REFUSED when this device holds the account's
// key and other members exist, or when it has the key and its members are not known.
[[nodiscard]] Result<void> LeaveAccount(const std::filesystem::path& folder);

// Stores the statement that the account removed this device; Identity::removedAt is set from then on. UNTRUSTED: the
// account's key did not sign the statement.
[[nodiscard]] Result<void> RecordOwnRemoval(const std::filesystem::path& folder, const RemovalStatement& statement);

}  // namespace Vexo::Trust
