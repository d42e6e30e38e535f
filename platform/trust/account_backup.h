// Backups of the account's key: a PKCS#12 file (RFC 7292) under a passphrase, which holds the account's key and
// certificate and the state at that time, and behind it a checksum, so that a damaged file is not taken for a wrong
// passphrase. OpenSSL's pkcs12 command reads it too. Functions block on the disk and on the derivation of a key from
// the passphrase (about a second); any thread.
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

// Writes file (mode 0600) and records in the folder that a backup exists. ALREADY_EXISTS: file; INVALID_ARGUMENT: a
// short passphrase; NOT_FOUND, UNAVAILABLE: as for a change (membership.h).
[[nodiscard]] Result<void> BackUpAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                         const std::string& passphrase, const Clock& clock = Clock::System());

// Makes this device the holder of the account in file. It may not sign a new state before it has met another member
// (IsRestored), since members may have newer states, unless isAlone: no other member is left. UNTRUSTED: wrong
// passphrase; MALFORMED: damaged, or no backup; ALREADY_EXISTS: the device has an account. A member of the
// account, the holder that lost its state, and a device that was restored and has met nobody may call it.
[[nodiscard]] Result<void> RestoreAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                                          const std::string& passphrase, const std::string& deviceName, bool isAlone,
                                          const Clock& clock = Clock::System());

// Whether this device was restored and has not met another member since.
bool IsRestored(const std::filesystem::path& folder);
// Call when another member was met and its state, if newer, adopted: adds this device as a member and makes it the
// holder, and returns the new identity. Changes nothing when IsRestored is false. REFUSED when the account removed this
// device; UNAVAILABLE without a state.
[[nodiscard]] Result<Identity> CompleteRestore(const std::filesystem::path& folder,
                                               const Clock& clock = Clock::System());

// When the last backup was made; nullopt: never.
std::optional<std::chrono::sys_seconds> LastBackup(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
