#include "platform/trust/account.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/base/utf8.h"
#include "platform/trust/enrolment_answer.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/identity_repair.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr long X509_VERSION_3_VALUE = 2;        // the field holds the version less one (RFC 5280)
constexpr long REQUEST_VERSION_1_VALUE = 0;     // RFC 2986
constexpr int SERIAL_BITS = 159;                // at most 20 bytes, positive
constexpr long CLOCK_SKEW_SECONDS = 24 * 3600;  // a device whose clock is behind still finds it valid

Result<void> CheckName(const std::string& name, const char* what)
{
    if (name.empty() || name.size() > MAX_ACCOUNT_NAME) {
        return Fail(ErrorCode::INVALID_ARGUMENT, std::string(what) + " \"" + EscapeHidden(name) + "\": 1 to " +
                                                     std::to_string(MAX_ACCOUNT_NAME) + " bytes are allowed");
    }
    if (!IsUtf8(name)) {
        return Fail(ErrorCode::INVALID_ARGUMENT, std::string(what) + ": not UTF-8");
    }
    if (EscapeHidden(name) != name) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    std::string(what) + ": control characters, of the writing direction too, are not allowed");
    }
    return {};
}

bool SetCommonName(X509_NAME* name, const std::string& text)
{
    return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()), -1, 0) == 1;
}

bool SetRandomSerial(X509* certificate)
{
    const OpenSslPtr<BIGNUM> serial(BN_new());
    return serial && BN_rand(serial.get(), SERIAL_BITS, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
           BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate)) != nullptr;
}

bool AddExtension(X509* certificate, X509* issuer, int nid, const char* value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const OpenSslPtr<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

// A certificate with everything but extensions and signature.
Certificate MakeDraft(EVP_PKEY* subjectKey, const std::string& commonName, std::chrono::hours validity)
{
    Certificate certificate(X509_new());
    const long seconds = static_cast<long>(std::chrono::seconds(validity).count());
    if (!certificate || X509_set_version(certificate.get(), X509_VERSION_3_VALUE) != 1 ||
        !SetRandomSerial(certificate.get()) || X509_set_pubkey(certificate.get(), subjectKey) != 1 ||
        !SetCommonName(X509_get_subject_name(certificate.get()), commonName) ||
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), std::min(-CLOCK_SKEW_SECONDS, seconds - 1)) ==
            nullptr ||
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), seconds) == nullptr) {
        return nullptr;
    }
    return certificate;
}

Certificate MakeAccountCertificate(EVP_PKEY* key, const std::string& name)
{
    Certificate certificate = MakeDraft(key, name, ACCOUNT_VALIDITY);
    if (!certificate || X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get())) != 1 ||
        !AddExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE,pathlen:0") ||
        !AddExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,digitalSignature") ||
        !AddExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash") ||
        X509_sign(certificate.get(), key, EVP_sha256()) == 0) {
        return nullptr;
    }
    return certificate;
}

// A device certificate ends with its account's at the latest.
bool LimitExpiry(X509* certificate, const ASN1_TIME* last)
{
    return ASN1_TIME_compare(X509_get0_notAfter(certificate), last) <= 0 || X509_set1_notAfter(certificate, last) == 1;
}

Certificate MakeDeviceCertificate(EVP_PKEY* deviceKey, const std::string& deviceName, X509* account,
                                  EVP_PKEY* accountKey, std::chrono::hours validity)
{
    Certificate certificate = MakeDraft(deviceKey, deviceName, validity);
    if (!certificate || X509_set_issuer_name(certificate.get(), X509_get_subject_name(account)) != 1 ||
        !LimitExpiry(certificate.get(), X509_get0_notAfter(account)) ||
        !AddExtension(certificate.get(), account, NID_basic_constraints, "critical,CA:FALSE") ||
        !AddExtension(certificate.get(), account, NID_key_usage, "critical,digitalSignature,keyAgreement") ||
        !AddExtension(certificate.get(), account, NID_ext_key_usage, "serverAuth,clientAuth") ||
        !AddExtension(certificate.get(), account, NID_subject_key_identifier, "hash") ||
        !AddExtension(certificate.get(), account, NID_authority_key_identifier, "keyid:always") ||
        X509_sign(certificate.get(), accountKey, EVP_sha256()) == 0) {
        return nullptr;
    }
    return certificate;
}

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
    Certificate made = MakeAccountCertificate(key, name);
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
                                               accountKey.value().get(), DEVICE_VALIDITY);
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
    Certificate device = MakeDeviceCertificate(key, name, account, accountKey.get(), validity);
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
