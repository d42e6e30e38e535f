#include "platform/trust/account.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/trust/certificates.h"
#include "platform/trust/enrolment_answer.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/identity_repair.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr long REQUEST_VERSION_1_VALUE = 0;  // RFC 2986

// The account's key of this folder: one that an interrupted creation left behind is used, not replaced.
Result<PrivateKey> EnsureAccountKey(const std::filesystem::path& folder)
{
    const std::filesystem::path file = folder / ACCOUNT_KEY_FILE;
    if (FileExists(file)) {
        return ReadKeyFile(file);
    }
    PrivateKey key = GenerateKey();
    if (!key) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": no key: " + OpenSslReason());
    }
    if (auto written = WriteKeyFile(file, key.get()); !written) {
        return Failure(std::move(written).error());
    }
    return key;
}

// The certificate of that key and name. One of another name is not replaced: every device of the account trusts it.
Result<Certificate> EnsureAccountCertificate(const std::filesystem::path& folder, EVP_PKEY* key,
                                             const std::string& name)
{
    auto kept = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    (void)OpenSslReason();
    if (kept && X509_check_private_key(kept.value().get(), key) == 1) {
        const std::string keptName = CommonNameOf(X509_get_subject_name(kept.value().get()));
        if (keptName != name) {
            return Fail(ErrorCode::ALREADY_EXISTS, folder.string() + ": this device holds the key of the account \"" +
                                                       keptName +
                                                       "\"; give that name, or move the folder away to start anew");
        }
        if (VerifyValidNow(kept.value().get())) {
            return kept;
        }
    }
    Certificate made = MakeAccountCertificate(key, name, Clock::System());
    if (!made) {
        return Fail(ErrorCode::SYSTEM,
                    folder.string() + ": the account's certificate could not be made: " + OpenSslReason());
    }
    return made;
}

// The link keys of that account: those of the folder, which other devices have, or a first one.
Result<LinkKeyRecord> EnsureLinkKeys(const std::filesystem::path& folder, X509* account)
{
    const std::filesystem::path file = folder / LINK_KEY_FILE;
    const std::string accountId = NetworkIdOf(X509_get0_pubkey(account));
    if (FileExists(file)) {
        auto kept = ReadLinkKeyFile(file);
        // Keys of another account are what an interrupted Install has left.
        if (!kept || kept.value().account == accountId) {
            return kept;
        }
    }
    const auto made = GenerateLinkKey(1);
    return made ? RecordOf({made.value()}, accountId) : Result<LinkKeyRecord>(Failure(made.error()));
}

// The device's certificate last: an enrolment counts from the moment it is there. Who loads an identity that lacked
// only its link key sees the old files or the new ones.
Result<void> WriteEnrolment(const std::filesystem::path& folder, const EnrolmentAnswer& enrolment)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    if (auto written = WriteLinkKeyFile(folder / LINK_KEY_FILE, enrolment.linkKeys); !written) {
        return written;
    }
    if (auto written = WriteCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE, enrolment.account.get()); !written) {
        return written;
    }
    return WriteCertificateFile(folder / DEVICE_CERTIFICATE_FILE, enrolment.device.get());
}

Failure HasAccount(const std::filesystem::path& folder, const Identity& identity)
{
    return Fail(ErrorCode::ALREADY_EXISTS, folder.string() + ": this device belongs to the account \"" +
                                               identity.accountName + "\" already; move the folder away to start anew");
}

// The identity of a device that can be enrolled: it has no account, or lacks its account's link key.
Result<Identity> LoadUnenrolled(const std::filesystem::path& folder)
{
    auto identity = LoadOrCreateIdentity(folder);
    return identity && identity.value().Enrolled() ? HasAccount(folder, identity.value()) : std::move(identity);
}

// The identity and key of a device that can admit others.
struct Holder {
    Identity identity;
    PrivateKey accountKey;
};

Result<Holder> LoadHolder(const std::filesystem::path& folder)
{
    auto identity = LoadIdentity(folder);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    if (!identity.value().HasCertificate() || !identity.value().holdsAccountKey) {
        return Fail(ErrorCode::NOT_FOUND,
                    "this device does not hold the account's key; admit on the device that made the account");
    }
    if (identity.value().LacksLinkKey()) {
        return Fail(ErrorCode::NOT_FOUND, "this device has no link key to hand out. " + LinkKeyAdvice(folder));
    }
    auto accountKey = ReadKeyFile(folder / ACCOUNT_KEY_FILE);
    if (!accountKey) {
        return Failure(std::move(accountKey).error());
    }
    return Holder{std::move(identity.value()), std::move(accountKey.value())};
}

// Checks the certificates of an answer for the device of that identity.
Result<void> CheckAnswer(const std::filesystem::path& folder, const EnrolmentAnswer& answer, const Identity& identity)
{
    if (X509_check_private_key(answer.device.get(), identity.key.get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED,
                    "the certificate is for another device's key; install it where the request was made");
    }
    if (auto verified = VerifySignedBy(answer.device.get(), answer.account.get()); !verified) {
        return verified;
    }
    if (auto valid = VerifyValidNow(answer.device.get()); !valid) {
        return Fail(valid.error().code,
                    valid.error().message + "; have it made anew on the device that holds the account's key");
    }
    if (auto valid = VerifyValidNow(answer.account.get()); !valid) {
        return Fail(valid.error().code, "the account's " + valid.error().message + "; join an account that is valid");
    }
    if (identity.HasCertificate() &&
        EVP_PKEY_eq(X509_get0_pubkey(answer.account.get()), X509_get0_pubkey(identity.accountCertificate.get())) != 1) {
        return HasAccount(folder, identity);
    }
    return {};
}

}  // namespace

Result<void> CreateAccount(const std::filesystem::path& folder, const std::string& accountName,
                           const std::string& deviceName)
{
    if (auto checked = CheckName(accountName, "account name"); !checked) {
        return checked;
    }
    if (auto checked = CheckName(deviceName, "device name"); !checked) {
        return checked;
    }
    auto identity = LoadUnenrolled(folder);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    if (identity.value().HasCertificate() && !identity.value().holdsAccountKey) {
        return HasAccount(folder, identity.value());
    }
    auto accountKey = EnsureAccountKey(folder);
    if (!accountKey) {
        return Failure(std::move(accountKey).error());
    }
    auto account = EnsureAccountCertificate(folder, accountKey.value().get(), accountName);
    if (!account) {
        return Failure(std::move(account).error());
    }
    auto linkKeys = EnsureLinkKeys(folder, account.value().get());
    if (!linkKeys) {
        return Failure(std::move(linkKeys).error());
    }
    if (identity.value().LacksLinkKey()) {
        return WriteLinkKeyFile(folder / LINK_KEY_FILE, linkKeys.value());
    }
    Certificate device = MakeDeviceCertificate(identity.value().key.get(), deviceName, account.value().get(),
                                               accountKey.value().get(), DEVICE_VALIDITY, Clock::System());
    if (!device) {
        return Fail(ErrorCode::SYSTEM,
                    folder.string() + ": the device's certificate could not be made: " + OpenSslReason());
    }
    return WriteEnrolment(folder, {std::move(device), std::move(account.value()), std::move(linkKeys.value())});
}

Result<std::string> MakeRequest(const std::filesystem::path& folder, const std::string& deviceName)
{
    if (auto checked = CheckName(deviceName, "device name"); !checked) {
        return Failure(std::move(checked).error());
    }
    auto identity = LoadUnenrolled(folder);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    EVP_PKEY* key = identity.value().key.get();
    const OpenSslPtr<X509_REQ> request(X509_REQ_new());
    if (!request || X509_REQ_set_version(request.get(), REQUEST_VERSION_1_VALUE) != 1 ||
        !SetCommonName(X509_REQ_get_subject_name(request.get()), deviceName) ||
        X509_REQ_set_pubkey(request.get(), key) != 1 || X509_REQ_sign(request.get(), key, EVP_sha256()) == 0) {
        return Fail(ErrorCode::SYSTEM, folder.string() + ": the request could not be made: " + OpenSslReason());
    }
    return RequestToPem(request.get());
}

Result<std::string> Admit(const std::filesystem::path& folder, const std::string& requestPem,
                          std::chrono::hours validity)
{
    auto holder = LoadHolder(folder);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    const OpenSslPtr<X509_REQ> request = RequestFromPem(requestPem);
    if (!request) {
        return Fail(ErrorCode::MALFORMED, "not a certificate request (PKCS#10) in PEM: " + OpenSslReason());
    }
    EVP_PKEY* key = X509_REQ_get0_pubkey(request.get());
    if (key == nullptr || X509_REQ_verify(request.get(), key) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, "the request is not signed by the key that it is for");
    }
    if (!IsP256(key)) {
        return Fail(ErrorCode::UNTRUSTED, "the request is for a key of another kind than P-256");
    }
    const std::string name = CommonNameOf(X509_REQ_get_subject_name(request.get()));
    if (auto checked = CheckName(name, "the request's device name"); !checked) {
        return Failure(std::move(checked).error());
    }
    auto& [identity, accountKey] = holder.value();
    X509* account = identity.accountCertificate.get();
    if (auto valid = VerifyValidNow(account); !valid) {
        return Fail(valid.error().code,
                    "the account's " + valid.error().message + "; make a new account and enrol its devices again");
    }
    Certificate device = MakeDeviceCertificate(key, name, account, accountKey.get(), validity, Clock::System());
    if (!device) {
        return Fail(ErrorCode::SYSTEM, "the certificate could not be made: " + OpenSslReason());
    }
    const std::string accountId = NetworkIdOf(accountKey.get());
    return SealAnswer(
        {std::move(device), std::move(identity.accountCertificate), RecordOf(*identity.linkKeys, accountId)},
        accountKey.get());
}

Result<void> Install(const std::filesystem::path& folder, const std::string& answerPem)
{
    auto identity = LoadUnenrolled(folder);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    const auto answer = OpenAnswer(answerPem, identity.value().key.get());
    if (!answer) {
        return Failure(answer.error());
    }
    if (auto checked = CheckAnswer(folder, answer.value(), identity.value()); !checked) {
        return checked;
    }
    if (FileExists(folder / ACCOUNT_KEY_FILE)) {
        return Fail(ErrorCode::ALREADY_EXISTS,
                    (folder / ACCOUNT_KEY_FILE).string() +
                        ": this device was making an account of its own; complete that, or move the key away");
    }
    return WriteEnrolment(folder, answer.value());
}

}  // namespace Vexo::Trust
