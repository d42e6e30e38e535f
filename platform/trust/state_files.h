// Reads and writes the files of an identity folder that contain the account's state (account_state.h). Call the writing
// functions, and LoadIdentityLocked, under the folder's lock. Used by platform/trust only. Functions block on the disk;
// any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "platform/base/result.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr const char* STATE_FILE = "account.state";
// The number of the newest state that this device ever had. Shows that a state existed when STATE_FILE is lost.
inline constexpr const char* STATE_NUMBER_FILE = "account.number";
inline constexpr const char* BACKUP_FILE = "backup";    // when the last backup was made: seconds since 1970
inline constexpr const char* REMOVAL_FILE = "removal";  // the bytes of EncodeRemoval

// Reads and verifies STATE_FILE. NOT_FOUND: there is none. Other errors: ReadSecretFile and OpenState.
[[nodiscard]] Result<SignedStatePtr> ReadStateFile(const std::filesystem::path& folder, X509* account);
// Returns the number in STATE_NUMBER_FILE. 0: this device never had a state.
uint64_t LastStateNumber(const std::filesystem::path& folder);
// Writes the link keys, the account's certificate, the state and its number. STATE_FILE decides which state the device
// has: an interruption leaves the old state or the new one.
[[nodiscard]] Result<void> WriteStateFiles(const std::filesystem::path& folder, const SignedState& state);

// Returns when the account removed this device, from the state or REMOVAL_FILE; nullopt: neither knows of a removal.
std::optional<std::chrono::sys_seconds> ReadRemoval(const std::filesystem::path& folder, const std::string& networkId,
                                                    X509* account, const SignedState* state);

// As LoadIdentity, for a caller that has locked the folder.
[[nodiscard]] Result<Identity> LoadIdentityLocked(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
