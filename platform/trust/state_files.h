// The files of an identity folder that hold the account's state (account_state.h), read and written under the folder's
// lock. Used by platform/trust only. Functions block on the disk; any thread.
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
// The number of the newest state that this device had, so that a lost state is not taken for one that never existed.
inline constexpr const char* STATE_NUMBER_FILE = "account.number";
inline constexpr const char* BACKUP_FILE = "backup";    // when the last backup was made: seconds since 1970
inline constexpr const char* REMOVAL_FILE = "removal";  // the bytes of EncodeRemoval

// NOT_FOUND when there is none.
[[nodiscard]] Result<SignedStatePtr> ReadStateFile(const std::filesystem::path& folder, X509* account);
// 0: this device never had a state.
uint64_t LastStateNumber(const std::filesystem::path& folder);
// Writes the link keys, the account's certificate and the state, and the state's number. The state's file is what
// counts, so that an interruption leaves the old state or the new one.
[[nodiscard]] Result<void> WriteStateFiles(const std::filesystem::path& folder, const SignedState& state);

// When the account removed this device, as far as it knows.
std::optional<std::chrono::sys_seconds> ReadRemoval(const std::filesystem::path& folder, const std::string& networkId,
                                                    X509* account, const SignedState* state);

// LoadIdentity for a caller that has locked the folder.
[[nodiscard]] Result<Identity> LoadIdentityLocked(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
