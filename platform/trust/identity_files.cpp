#include "platform/trust/identity_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr size_t MAX_FILE_SIZE = 64 * 1024;
constexpr mode_t OTHERS = S_IRWXG | S_IRWXO;
constexpr uid_t ROOT = 0;
constexpr mode_t CERTIFICATE_MODE = 0644;

// Checks that only root and the user of this process can read or replace the open file.
Result<void> CheckOnlyOwnerAccess(int fd, const std::filesystem::path& file)
{
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        return Fail(ErrorCodeOf(errno), file.string() + ": cannot be checked: " + std::strerror(errno));
    }
    if (status.st_uid != ::geteuid() && status.st_uid != ROOT) {
        return Fail(ErrorCode::UNTRUSTED, file.string() + ": belongs to user " + std::to_string(status.st_uid) +
                                              ", who knows this key and can exchange it." + IF_NOBODY_READ_IT +
                                              "chown " + std::to_string(::geteuid()) + " " + file.string());
    }
    if ((status.st_mode & OTHERS) != 0) {
        return Fail(ErrorCode::UNTRUSTED, file.string() + ": other users can read this key; it may be known to them." +
                                              IF_NOBODY_READ_IT + "chmod 600 " + file.string());
    }
    return {};
}

}  // namespace

bool FileExists(const std::filesystem::path& file)
{
    std::error_code unknown;
    return std::filesystem::exists(std::filesystem::symlink_status(file, unknown));
}

Result<void> CheckIdentityFolder(const std::filesystem::path& folder)
{
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) {
        return Fail(ErrorCodeOf(errno), folder.string() + ": no identity here: " + std::strerror(errno));
    }
    if (!S_ISDIR(status.st_mode)) {
        return Fail(ErrorCode::NOT_FOUND, folder.string() + ": not a folder");
    }
    if ((status.st_mode & OTHERS) != 0) {
        return Fail(ErrorCode::UNTRUSTED, folder.string() +
                                              ": other users can enter it; its keys may be known to them." +
                                              IF_NOBODY_READ_IT + "chmod 700 " + folder.string());
    }
    return {};
}

Result<void> PrepareIdentityFolder(const std::filesystem::path& folder)
{
    if (auto made = MakeFolder(folder, PRIVATE_FOLDER); !made) {
        return made;
    }
    return CheckIdentityFolder(folder);
}

Result<UniqueFd> LockIdentityFolder(const std::filesystem::path& folder, FolderLock kind)
{
    UniqueFd lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock || ::flock(lock.Get(), kind == FolderLock::READ ? LOCK_SH : LOCK_EX) != 0) {
        return Fail(ErrorCodeOf(errno), folder.string() + ": cannot be locked: " + std::strerror(errno));
    }
    return lock;
}

Result<std::string> ReadDeviceIdFile(const std::filesystem::path& file)
{
    auto text = ReadWholeFile(file, 2 * ID_CHARACTERS);
    if (!text) {
        return Fail(text.error().code, text.error().message + DOCTOR_KNOWS);
    }
    std::string id = text.value();
    if (id.ends_with('\n')) {
        id.pop_back();
    }
    if (!IsHexId(id)) {
        return Fail(ErrorCode::MALFORMED, file.string() + ": not a device id of 64 hex characters" + DOCTOR_KNOWS);
    }
    return id;
}

Result<SecretText> ReadSecretFile(const std::filesystem::path& file)
{
    const auto opened = OpenRegularFile(file, LastLink::REFUSED);
    if (!opened) {
        return Fail(opened.error().code, opened.error().message + DOCTOR_KNOWS);
    }
    // The check uses the open file, so that nobody can replace the file between the check and the reading.
    if (auto kept = CheckOnlyOwnerAccess(opened.value().Get(), file); !kept) {
        return Failure(std::move(kept).error());
    }
    auto text = ReadToEnd(opened.value().Get(), file, MAX_FILE_SIZE);
    if (!text) {
        return Failure(std::move(text).error());
    }
    return SecretText{std::move(text.value())};
}

bool MayBeKnownToOthers(const std::filesystem::path& file)
{
    const auto secret = ReadSecretFile(file);
    return !secret && secret.error().code == ErrorCode::UNTRUSTED;
}

Result<PrivateKey> ReadKeyFile(const std::filesystem::path& file)
{
    const auto text = ReadSecretFile(file);
    if (!text) {
        return Failure(text.error());
    }
    PrivateKey key = KeyFromPem(text.value().text);
    if (!key) {
        return Fail(ErrorCode::MALFORMED,
                    file.string() + ": not a private key in PEM: " + OpenSslReason() + DOCTOR_KNOWS);
    }
    if (!IsP256(key.get())) {
        return Fail(ErrorCode::UNTRUSTED, file.string() + ": a key of another kind than P-256" + DOCTOR_KNOWS);
    }
    if (!IsP256Pair(key.get())) {
        (void)OpenSslReason();
        return Fail(ErrorCode::MALFORMED,
                    file.string() + ": the private key does not match its public key" + DOCTOR_KNOWS);
    }
    return key;
}

Result<Certificate> ReadCertificateFile(const std::filesystem::path& file)
{
    const auto text = ReadWholeFile(file, MAX_FILE_SIZE);
    if (!text) {
        return Fail(text.error().code, text.error().message + DOCTOR_KNOWS);
    }
    std::vector<Certificate> certificates = CertificatesFromPem(text.value());
    if (certificates.size() != 1) {
        return Fail(ErrorCode::MALFORMED,
                    file.string() + ": not one certificate in PEM: " + OpenSslReason() + DOCTOR_KNOWS);
    }
    return std::move(certificates.front());
}

Result<void> WriteKeyFile(const std::filesystem::path& file, EVP_PKEY* key)
{
    const std::string pem = KeyToPem(key);
    if (pem.empty()) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": the key could not be encoded: " + OpenSslReason());
    }
    return WriteFileAtomically(file, pem, SECRET_FILE_MODE);
}

Result<void> WriteCertificateFile(const std::filesystem::path& file, X509* certificate)
{
    const std::string pem = CertificateToPem(certificate);
    if (pem.empty()) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": the certificate could not be encoded: " + OpenSslReason());
    }
    return WriteFileAtomically(file, pem, CERTIFICATE_MODE);
}

}  // namespace Vexo::Trust
