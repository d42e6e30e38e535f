// The files of an identity folder: names, and the checks that every read of a secret makes. Used by platform/trust
// only. Functions block on the disk; any thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/identity.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

inline constexpr const char* DEVICE_KEY_FILE = "device.key";
inline constexpr const char* DEVICE_ID_FILE = "device.id";
inline constexpr const char* DEVICE_CERTIFICATE_FILE = "device.crt";
inline constexpr const char* ACCOUNT_CERTIFICATE_FILE = "account.crt";
inline constexpr const char* ACCOUNT_KEY_FILE = "account.key";
inline constexpr const char* LINK_KEY_FILE = "link.key";

inline constexpr mode_t SECRET_FILE_MODE = 0600;

// False also when it cannot be known; what is then tried with the file says why.
bool FileExists(const std::filesystem::path& file);

// What a person does about a file that others could read, before the command that ends a message.
inline constexpr const char* IF_NOT_KNOWN = " If not: ";
// Who says what to do about a file of an identity that is damaged or missing, as the end of a message.
inline constexpr const char* DOCTOR_KNOWS = "; `distnetctl doctor` says how to mend it";

// Makes the folder (0700) with its parents if it is missing; refuses one that others may enter.
[[nodiscard]] Result<void> PrepareIdentityFolder(const std::filesystem::path& folder);
[[nodiscard]] Result<void> CheckIdentityFolder(const std::filesystem::path& folder);
// READ waits for who holds WRITE, WRITE for all.
enum class FolderLock { READ, WRITE };
// Keeps other processes and threads that lock the folder waiting until the result goes (flock(2)).
[[nodiscard]] Result<UniqueFd> LockIdentityFolder(const std::filesystem::path& folder, FolderLock kind);

[[nodiscard]] Result<std::string> ReadDeviceIdFile(const std::filesystem::path& file);
// A secret as it is on the disk. Refuses a link, and a file that others own, can read or can exchange.
[[nodiscard]] Result<SecretText> ReadSecretFile(const std::filesystem::path& file);
[[nodiscard]] Result<PrivateKey> ReadKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<Certificate> ReadCertificateFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteKeyFile(const std::filesystem::path& file, EVP_PKEY* key);
[[nodiscard]] Result<void> WriteCertificateFile(const std::filesystem::path& file, X509* certificate);

}  // namespace Vexo::Trust
