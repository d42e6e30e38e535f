// Changes of an account's state (account_state.h), as files in an identity folder (identity.h). Only the device that
// holds the account's key can make a new state; every member can adopt a newer one. Each call holds the folder's lock
// from reading to writing, so a daemon and a command may run at the same time. A failure at any moment leaves the old
// state or the new one. Functions block on the disk; any thread.
// Next: account.h (how an account and its members begin), account_backup.h (how its key is kept).
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

// How long the link key before a removal still lets members receive the new state.
inline constexpr std::chrono::hours PREVIOUS_LINK_KEY_LIFE{24 * 30};

// Adopts bytes if they are a newer state of this account: writes the state, its link keys and its account certificate.
// Returns the identity with the new state, or nullopt when bytes are the state that this device has already. UNTRUSTED
// or MALFORMED: forged, damaged, of another account, or without a removal that this device knows of; ALREADY_EXISTS:
// the same number with other content; REFUSED: older. The error's message is one line for a log.
[[nodiscard]] Result<std::optional<Identity>> AdoptState(const std::filesystem::path& folder, const std::string& bytes);

// The following need the account's key: NOT_FOUND on another device, with a message that names the member that holds
// it; UNAVAILABLE on a device that has to meet another member first, because it was restored (account_backup.h) or lost
// its state; REFUSED on a device that the account removed. Each returns the new identity.

// INVALID_ARGUMENT for a bad name, ALREADY_EXISTS for one that is taken, NOT_FOUND for an unknown member.
[[nodiscard]] Result<Identity> RenameMember(const std::filesystem::path& folder, const std::string& networkId,
                                            const std::string& name, const Clock& clock = Clock::System());
// Removes the member, and makes a new link key. The key before stays valid for PREVIOUS_LINK_KEY_LIFE; if there is one
// before that with half of this time left, that one stays instead: every member that waits for news has it.
// announcesPreviousKey: AccountState's. REFUSED for this device itself (LeaveAccount), NOT_FOUND for an unknown member.
[[nodiscard]] Result<Identity> RemoveMember(const std::filesystem::path& folder, const std::string& networkId,
                                            bool announcesPreviousKey, const Clock& clock = Clock::System());
// Makes the account's certificate and this device's anew, for the same keys. Each other member gets its own at its next
// contact with this device (RenewedCertificate).
[[nodiscard]] Result<Identity> RenewAccount(const std::filesystem::path& folder, const Clock& clock = Clock::System());
// The state names that member as the holder from now on. It does not move the key: transfer.h of the soft bus. A device
// that has the key may name itself also when another is the holder.
[[nodiscard]] Result<Identity> SetHolder(const std::filesystem::path& folder, const std::string& networkId,
                                         const Clock& clock = Clock::System());
// Adds a device that showed a certificate of the account and is neither a member nor removed, under a free name, if the
// account is older than states; a device that was enrolled before them is added so when it is met. nullopt: nothing to
// add.
[[nodiscard]] Result<std::optional<Identity>> AddOlderMember(const std::filesystem::path& folder, Member member,
                                                             const Clock& clock = Clock::System());

// On the holder: a new certificate, in DER, for the member that showed this one, when RenewAccount has been called
// since that was made and the new one ends later; else, or on failure, nullopt.
std::optional<std::string> RenewedCertificate(const std::filesystem::path& folder, const std::string& networkId,
                                              X509* shown, const Clock& clock = Clock::System());
// On the member: takes its renewed certificate over, if it ends later than its own. UNTRUSTED: not of this account, or
// for another key; MALFORMED.
[[nodiscard]] Result<Identity> AdoptCertificate(const std::filesystem::path& folder, const std::string& der);

// Removes this device's account, key and id from the folder: it is a new device afterwards. REFUSED on the device that
// holds the account's key while there are other members, or when its members are not known.
[[nodiscard]] Result<void> LeaveAccount(const std::filesystem::path& folder);

// Records that the account removed this device; Identity::removedAt says so from now on. UNTRUSTED: the account's key
// did not make the statement.
[[nodiscard]] Result<void> RecordOwnRemoval(const std::filesystem::path& folder, const RemovalStatement& statement);

}  // namespace Vexo::Trust
