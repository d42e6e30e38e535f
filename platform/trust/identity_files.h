// The files of an identity folder: their names, and functions that read, write and check them. Only platform/trust uses
// this header. The functions are thread-safe and block on the disk.
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

// Returns true if the file exists. Returns false also when the file's folder cannot be accessed. Opening the file then
// fails and reports the cause.
bool FileExists(const std::filesystem::path& file);

// If other users can access a secret file or the identity folder, the error message ends with this text and a shell
// command that ends the access. A person who is sure that nobody has read a secret runs the command.
inline constexpr const char* IF_NOBODY_READ_IT = " If not: ";
// The last words of a message about a damaged or missing identity file. The command in them gives advice.
inline constexpr const char* DOCTOR_KNOWS = "; `distnetctl doctor` says how to repair it";

// Creates the identity folder (mode 0700) and its parent folders if they are missing. Refuses a folder that other users
// can access.
[[nodiscard]] Result<void> PrepareIdentityFolder(const std::filesystem::path& folder);
[[nodiscard]] Result<void> CheckIdentityFolder(const std::filesystem::path& folder);
// Kinds of lock on the identity folder. Several processes may have a READ lock at the same time. A WRITE lock excludes
// all other locks.
enum class FolderLock { READ, WRITE };
// Blocks until the caller has the lock on the identity folder (flock(2)). Destroying the returned UniqueFd releases the
// lock.
[[nodiscard]] Result<UniqueFd> LockIdentityFolder(const std::filesystem::path& folder, FolderLock kind);

[[nodiscard]] Result<std::string> ReadDeviceIdFile(const std::filesystem::path& file);
// Reads a file that contains a secret. Refuses a symbolic link. Returns UNTRUSTED when other users can access the file,
// or when the file belongs to a user other than root and the user of this process.
[[nodiscard]] Result<SecretText> ReadSecretFile(const std::filesystem::path& file);
// Returns true if ReadSecretFile refuses the file because other users may have read the file.
bool MayBeKnownToOthers(const std::filesystem::path& file);
[[nodiscard]] Result<PrivateKey> ReadKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<Certificate> ReadCertificateFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteKeyFile(const std::filesystem::path& file, EVP_PKEY* key);
[[nodiscard]] Result<void> WriteCertificateFile(const std::filesystem::path& file, X509* certificate);

}  // namespace Vexo::Trust
