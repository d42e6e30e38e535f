// Backups of the account's key. A backup is a PKCS#12 file (RFC 7292) under a passphrase, which OpenSSL's pkcs12
// command can read too. It contains the account's key, its certificate, and the state at the time of the backup. The
// file ends with a checksum, so that a damaged file is not reported as a wrong passphrase. Functions block on the disk
// and on deriving a key from the passphrase (about a second); any thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr size_t MIN_PASSPHRASE = 8;  // bytes

// Writes the backup to file (mode 0600) and records its time in the folder. ALREADY_EXISTS: file exists.
// INVALID_ARGUMENT: the passphrase is too short. NOT_FOUND, UNAVAILABLE, REFUSED: this device cannot change the account
// (membership.h).
[[nodiscard]] Result<void> BackUpAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                         const std::string& passphrase, const Clock& clock = Clock::System());

// Gives this device the account and the account's key from file. Until it has met another member, the device cannot
// sign a new state, because members may have newer states (IsRestored). isAlone: no other member exists, so the device
// becomes the holder at once. The device must have no account, or be in the same account and be one of these: a member
// without the account's key, the holder after it lost its state, or a restored device that has not met another member.
// UNTRUSTED: wrong passphrase. MALFORMED: damaged, or not a backup. ALREADY_EXISTS: the device has another account, or
// needs no backup.
[[nodiscard]] Result<void> RestoreAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                          const std::string& passphrase, const std::string& deviceName, bool isAlone,
                                          const Clock& clock = Clock::System());

// Whether this device was restored and has not met another member since.
bool IsRestored(const std::filesystem::path& folder);
// Call after this device has met another member and adopted that member's state, if newer. Makes this device a member
// and the holder, and returns the new identity. When IsRestored is false, only loads the identity. REFUSED: the account
// removed this device. UNAVAILABLE: this device has no state.
[[nodiscard]] Result<Identity> CompleteRestore(const std::filesystem::path& folder,
                                               const Clock& clock = Clock::System());

// Returns the time of the last backup; nullopt: none was made.
std::optional<std::chrono::sys_seconds> LastBackup(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
