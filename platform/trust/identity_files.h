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

// Returns false also if the answer is not known, for example without access to the folder; using the file then fails
// with the reason.
bool FileExists(const std::filesystem::path& file);

// Goes before the command at the end of a message about a key that others may have read: the command is for the case
// that nobody did.
inline constexpr const char* IF_NOT_KNOWN = " If not: ";
// The end of a message about a damaged or missing file of an identity: which command gives the advice.
inline constexpr const char* DOCTOR_KNOWS = "; `distnetctl doctor` says how to repair it";

// Makes the folder (0700) with its parents if it is missing; refuses one that others may enter.
[[nodiscard]] Result<void> PrepareIdentityFolder(const std::filesystem::path& folder);
[[nodiscard]] Result<void> CheckIdentityFolder(const std::filesystem::path& folder);
// READ locks exclude WRITE locks; a WRITE lock excludes all others.
enum class FolderLock { READ, WRITE };
// Waits for the lock (flock(2)). It is released when the result is destroyed.
[[nodiscard]] Result<UniqueFd> LockIdentityFolder(const std::filesystem::path& folder, FolderLock kind);

[[nodiscard]] Result<std::string> ReadDeviceIdFile(const std::filesystem::path& file);
// Reads a secret. Refuses a symbolic link, and a file that others own, can read or can replace.
[[nodiscard]] Result<SecretText> ReadSecretFile(const std::filesystem::path& file);
// Whether ReadSecretFile refuses it because others may have read it.
bool MayBeKnownToOthers(const std::filesystem::path& file);
[[nodiscard]] Result<PrivateKey> ReadKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<Certificate> ReadCertificateFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteKeyFile(const std::filesystem::path& file, EVP_PKEY* key);
[[nodiscard]] Result<void> WriteCertificateFile(const std::filesystem::path& file, X509* certificate);

}  // namespace Vexo::Trust
