// Reads and writes the files of an identity folder that contain the account's state (account_state.h). Lock the folder
// before you call a function that writes, or LoadIdentityLocked. Only platform/trust uses this header. The functions
// are thread-safe and block on the disk.
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
// The file that contains the number of the newest state that this device ever had. If STATE_FILE is lost, this file
// shows that a state existed.
inline constexpr const char* STATE_NUMBER_FILE = "account.number";
inline constexpr const char* BACKUP_FILE = "backup";    // the time of the last backup, in seconds since 1970
inline constexpr const char* REMOVAL_FILE = "removal";  // contains the bytes that EncodeRemoval returns

// Reads STATE_FILE and verifies the state in it. NOT_FOUND: the file does not exist. ReadSecretFile and OpenState
// describe the other errors.
[[nodiscard]] Result<SignedStatePtr> ReadStateFile(const std::filesystem::path& folder, X509* account);
// Returns the number from STATE_NUMBER_FILE. Returns 0 when this device never had a state.
uint64_t LastStateNumber(const std::filesystem::path& folder);
// Writes the link keys, the account's certificate, the state and the state's number. After an interruption the device
// has the old state or the new one, because only STATE_FILE decides which state it has.
[[nodiscard]] Result<void> WriteStateFiles(const std::filesystem::path& folder, const SignedState& state);

// Returns the time at which the account removed this device, according to the state or to REMOVAL_FILE. Returns nullopt
// when neither lists a removal of this device.
std::optional<std::chrono::sys_seconds> ReadRemoval(const std::filesystem::path& folder, const std::string& networkId,
                                                    X509* account, const SignedState* state);

// Loads the identity like LoadIdentity, but does not lock the folder, because the caller has locked it.
[[nodiscard]] Result<Identity> LoadIdentityLocked(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
