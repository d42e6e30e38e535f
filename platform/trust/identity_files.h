// The files of an identity folder: their names, how they are read and written, and the checks before a secret is read.
// Used by platform/trust only. Functions block on the disk; any thread.
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

// Also returns false when the folder cannot be accessed; opening the file then fails with the cause.
bool FileExists(const std::filesystem::path& file);

// Precedes the command at the end of a message about a key that other users may have read. The command is the remedy if
// nobody has read the key.
inline constexpr const char* IF_NOT_KNOWN = " If not: ";
// The end of a message about a damaged or missing file of an identity. Refers to the command that gives advice.
inline constexpr const char* DOCTOR_KNOWS = "; `distnetctl doctor` says how to repair it";

// Creates the folder (0700) and its parents if it is missing. Refuses a folder that other users can access.
[[nodiscard]] Result<void> PrepareIdentityFolder(const std::filesystem::path& folder);
[[nodiscard]] Result<void> CheckIdentityFolder(const std::filesystem::path& folder);
// Several READ locks may exist at the same time. A WRITE lock excludes all others.
enum class FolderLock { READ, WRITE };
// Blocks until it has the lock (flock(2)). Destroying the result releases the lock.
[[nodiscard]] Result<UniqueFd> LockIdentityFolder(const std::filesystem::path& folder, FolderLock kind);

[[nodiscard]] Result<std::string> ReadDeviceIdFile(const std::filesystem::path& file);
// Reads a secret. Refuses a symbolic link. UNTRUSTED: the file belongs to a user who is neither this process's user nor
// root, or other users can access it.
[[nodiscard]] Result<SecretText> ReadSecretFile(const std::filesystem::path& file);
// Whether ReadSecretFile refuses the file because other users may have read it.
bool MayBeKnownToOthers(const std::filesystem::path& file);
[[nodiscard]] Result<PrivateKey> ReadKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<Certificate> ReadCertificateFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteKeyFile(const std::filesystem::path& file, EVP_PKEY* key);
[[nodiscard]] Result<void> WriteCertificateFile(const std::filesystem::path& file, X509* certificate);

}  // namespace Vexo::Trust
