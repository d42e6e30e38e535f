// Backups of the account's key. A backup is a PKCS#12 file (RFC 7292) that is encrypted with a passphrase. OpenSSL's
// pkcs12 command can read it too. A backup contains the account's key, the account's certificate, and the account's
// state at the time of the backup. The file ends with a checksum, so that a damaged file is not reported as a wrong
// passphrase. The functions are thread-safe. They block on the disk, and for about a second while they derive a key
// from the passphrase.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr size_t MIN_PASSPHRASE = 8;  // the smallest allowed length of a passphrase, in bytes

// Writes a backup of the account's key to a new file (mode 0600). Records the time of the backup in the identity
// folder. ALREADY_EXISTS: the file exists. INVALID_ARGUMENT: the passphrase is too short. NOT_FOUND, UNAVAILABLE,
// REFUSED: this device cannot change the account (membership.h).
[[nodiscard]] Result<void> BackUpAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                         const std::string& passphrase, const Clock& clock = Clock::System());

// Restores an account and its key from a backup file to this device. The device must have no account, or be one of
// these devices of the same account:
//   a member without the account's key
//   the holder (the device with the account's key), after it lost the account's state
//   a restored device that has not met another member
// After the restore, the device cannot sign a new state until it has met another member, because other members may have
// newer states. IsRestored returns true until then.
// isAlone: the caller states that the account has no other member. The device then becomes the holder at once, and
// IsRestored returns false.
// UNTRUSTED: the passphrase is wrong. MALFORMED: the file is damaged, or is not a backup. ALREADY_EXISTS: the device
// belongs to another account, has the key of another account, or needs no backup.
[[nodiscard]] Result<void> RestoreAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                          const std::string& passphrase, const std::string& deviceName, bool isAlone,
                                          const Clock& clock = Clock::System());

// Returns whether this device must meet another member before it may sign a state: after RestoreAccount (unless isAlone
// was true), or after this device has lost the account's state and then created its certificate again.
bool IsRestored(const std::filesystem::path& folder);
// Call this function after a restored device has met another member. If that member's state is newer than this device's
// state, this device must adopt the newer state first (AdoptState). Makes this device a member and the holder (the
// device with the account's key). Returns the new identity. If IsRestored returns false, the function only loads the
// identity. REFUSED: the account removed this device. UNAVAILABLE: this device has no state of the account.
[[nodiscard]] Result<Identity> CompleteRestore(const std::filesystem::path& folder,
                                               const Clock& clock = Clock::System());

// Returns the time when this device last backed up the account's key or restored it from a backup. Returns nullopt when
// it did neither.
std::optional<std::chrono::sys_seconds> LastBackup(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
