#include "platform/trust/identity.h"

#include <openssl/rand.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <optional>

#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

constexpr size_t ID_BYTES = 32;

// Creates the device's key and id if they are missing. Returns an error when the key is missing but the device has a
// certificate, because that certificate is for the lost key.
Result<void> CreateMissing(const std::filesystem::path& folder)
{
    const std::filesystem::path keyFile = folder / DEVICE_KEY_FILE;
    const std::filesystem::path idFile = folder / DEVICE_ID_FILE;
    if (FileExists(idFile) && FileExists(keyFile)) {
        return {};
    }
    // The daemon and distnetctl may run for the first time at the same time. The lock makes the second program use the
    // files that the first program created.
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    if (!FileExists(idFile)) {
        std::array<unsigned char, ID_BYTES> random{};
        if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) {
            return Fail(ErrorCode::SYSTEM, idFile.string() + ": no random bytes: " + OpenSslReason());
        }
        if (auto written = WriteFileAtomically(idFile, HexOf(random) + "\n", SECRET_FILE_MODE); !written) {
            return written;
        }
    }
    if (FileExists(keyFile)) {
        return {};
    }
    if (FileExists(folder / DEVICE_CERTIFICATE_FILE)) {
        return Fail(ErrorCode::NOT_FOUND,
                    keyFile.string() + ": missing, though the device has a certificate" + DOCTOR_KNOWS);
    }
    const PrivateKey key = GenerateKey();
    if (!key) {
        return Fail(ErrorCode::SYSTEM, keyFile.string() + ": no key: " + OpenSslReason());
    }
    return WriteKeyFile(keyFile, key.get());
}

// Returns whether this device has the account's key. Returns an error when the key file is damaged or contains the key
// of another account.
Result<bool> HoldsAccountKey(const std::filesystem::path& folder, X509* account)
{
    const std::filesystem::path file = folder / ACCOUNT_KEY_FILE;
    if (!FileExists(file)) {
        return false;
    }
    const auto key = ReadKeyFile(file);
    if (!key) {
        return Failure(key.error());
    }
    if (X509_check_private_key(account, key.value().get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED,
                    file.string() + ": the key of another account than " + ACCOUNT_CERTIFICATE_FILE + DOCTOR_KNOWS);
    }
    return true;
}

// Returns the account's state, or null when it is missing or damaged. A missing or damaged state is no error, because
// another member can send the state. Returns an error when other users may have read the state.
Result<SignedStatePtr> LoadState(const std::filesystem::path& folder, X509* account)
{
    auto state = ReadStateFile(folder, account);
    if (!state && MayBeKnownToOthers(folder / STATE_FILE)) {
        return state;
    }
    return state ? std::move(state.value()) : nullptr;
}

// Returns the given account's link keys from the state, else from the file link.key. Returns nullopt when neither
// exists.
Result<std::optional<LinkKeys>> LoadLinkKeys(const std::filesystem::path& folder, X509* account,
                                             const SignedState* state)
{
    const std::filesystem::path file = folder / LINK_KEY_FILE;
    if (!FileExists(file)) {
        return state != nullptr ? std::optional(state->State().linkKeys) : std::nullopt;
    }
    const auto record = ReadLinkKeyFile(file);
    if (state != nullptr && (record || !MayBeKnownToOthers(file))) {
        return state->State().linkKeys;
    }
    if (!record) {
        return Failure(record.error());
    }
    if (record.value().account != NetworkIdOf(account)) {
        return Fail(ErrorCode::UNTRUSTED,
                    file.string() + ": of another account than " + ACCOUNT_CERTIFICATE_FILE + DOCTOR_KNOWS);
    }
    return record.value().Keys();
}

Result<Identity> LoadKeyAndId(const std::filesystem::path& folder)
{
    Identity identity;
    auto key = ReadKeyFile(folder / DEVICE_KEY_FILE);
    if (!key) {
        return Failure(std::move(key).error());
    }
    identity.key = std::move(key.value());
    identity.networkId = NetworkIdOf(identity.key.get());
    auto deviceId = ReadDeviceIdFile(folder / DEVICE_ID_FILE);
    if (!deviceId) {
        return Failure(std::move(deviceId).error());
    }
    identity.deviceId = deviceId.value();
    return identity;
}

// Loads the device's enrolment into the given Identity: both certificates, and the state and the link keys if they
// exist. Leaves the Identity unchanged if the device has no certificate.
Result<void> LoadEnrolment(const std::filesystem::path& folder, Identity& identity)
{
    const std::filesystem::path certificateFile = folder / DEVICE_CERTIFICATE_FILE;
    const std::filesystem::path accountFile = folder / ACCOUNT_CERTIFICATE_FILE;
    // The device's certificate is the file that an enrolment writes last. Without that file, the enrolment is not
    // complete.
    if (!FileExists(certificateFile)) {
        return {};
    }
    auto account = ReadCertificateFile(accountFile);
    if (!account) {
        return Failure(account.error());
    }
    auto certificate = ReadCertificateFile(certificateFile);
    if (!certificate) {
        return Failure(certificate.error());
    }
    if (X509_check_private_key(certificate.value().get(), identity.key.get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED,
                    certificateFile.string() + ": for another key than " + DEVICE_KEY_FILE + DOCTOR_KNOWS);
    }
    // This check accepts an expired certificate, because the user must see that the certificate has expired. Peers
    // refuse an expired certificate.
    if (const auto verified = VerifySignedBy(certificate.value().get(), account.value().get()); !verified) {
        return Fail(verified.error().code, certificateFile.string() + ": " + verified.error().message + " (" +
                                               ACCOUNT_CERTIFICATE_FILE + ")" + DOCTOR_KNOWS);
    }
    auto holdsAccountKey = HoldsAccountKey(folder, account.value().get());
    if (!holdsAccountKey) {
        return Failure(std::move(holdsAccountKey).error());
    }
    auto state = LoadState(folder, account.value().get());
    if (!state) {
        return Failure(std::move(state).error());
    }
    auto linkKeys = LoadLinkKeys(folder, account.value().get(), state.value().get());
    if (!linkKeys) {
        return Failure(std::move(linkKeys).error());
    }
    identity.removedAt = ReadRemoval(folder, identity.networkId, account.value().get(), state.value().get());
    identity.state = std::move(state.value());
    identity.linkKeys = std::move(linkKeys.value());
    identity.accountName = CommonNameOf(X509_get_subject_name(account.value().get()));
    identity.certificate = std::move(certificate.value());
    identity.accountCertificate = std::move(account.value());
    identity.holdsAccountKey = holdsAccountKey.value();
    return {};
}

}  // namespace

void OpenSslDeleter::operator()(EVP_PKEY* key) const noexcept
{
    EVP_PKEY_free(key);
}

void OpenSslDeleter::operator()(X509* certificate) const noexcept
{
    X509_free(certificate);
}

namespace {

// Returns the network id of a public key that OpenSSL has encoded in DER, and frees the buffer with the encoded key.
// length: the size of the encoded key in bytes; not positive if OpenSSL failed. The result is then an empty string.
std::string NetworkIdOf(unsigned char* encoded, int length)
{
    if (length <= 0) {
        return "";
    }
    std::array<unsigned char, ID_BYTES> digest{};
    SHA256(encoded, static_cast<size_t>(length), digest.data());
    OPENSSL_free(encoded);
    return HexOf(digest);
}

}  // namespace

std::string NetworkIdOf(EVP_PKEY* key)
{
    unsigned char* encoded = nullptr;
    const int length = i2d_PUBKEY(key, &encoded);
    return NetworkIdOf(encoded, length);
}

std::string NetworkIdOf(X509* certificate)
{
    // Copies the encoded key of the certificate. i2d_PUBKEY would search the encoders of all key types.
    unsigned char* encoded = nullptr;
    const int length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &encoded);
    return NetworkIdOf(encoded, length);
}

std::chrono::system_clock::time_point Identity::CertificateExpiry() const
{
    std::tm parts{};
    ASN1_TIME_to_tm(X509_get0_notAfter(certificate.get()), &parts);
    return std::chrono::system_clock::from_time_t(timegm(&parts));
}

Result<Identity> LoadIdentity(const std::filesystem::path& folder)
{
    if (auto checked = CheckIdentityFolder(folder); !checked) {
        return Failure(std::move(checked).error());
    }
    const auto lock = LockIdentityFolder(folder, FolderLock::READ);
    if (!lock) {
        return Failure(lock.error());
    }
    return LoadIdentityLocked(folder);
}

Result<Identity> LoadIdentityLocked(const std::filesystem::path& folder)
{
    Result<Identity> identity = LoadKeyAndId(folder);
    if (!identity) {
        return identity;
    }
    if (auto loaded = LoadEnrolment(folder, identity.value()); !loaded) {
        return Failure(std::move(loaded).error());
    }
    return identity;
}

Result<Identity> LoadOrCreateUnenrolled(const std::filesystem::path& folder)
{
    if (auto prepared = PrepareIdentityFolder(folder); !prepared) {
        return Failure(std::move(prepared).error());
    }
    if (auto created = CreateMissing(folder); !created) {
        return Failure(std::move(created).error());
    }
    return LoadKeyAndId(folder);
}

Result<Identity> LoadOrCreateIdentity(const std::filesystem::path& folder)
{
    if (auto unenrolled = LoadOrCreateUnenrolled(folder); !unenrolled) {
        return unenrolled;
    }
    return LoadIdentity(folder);
}

}  // namespace Vexo::Trust
