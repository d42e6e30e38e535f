#include "platform/trust/certificates.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <ctime>

#include "platform/base/utf8.h"
#include "platform/trust/account.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr long X509_VERSION_3_VALUE = 2;        // the field contains the version minus 1 (RFC 5280)
constexpr int SERIAL_BITS = 159;                // the serial number is positive and has at most 20 bytes
constexpr long CLOCK_SKEW_SECONDS = 24 * 3600;  // validity begins this much earlier, for clocks that are behind

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

// Creates a certificate that has no issuer, extensions and signature yet.
Certificate MakeDraft(EVP_PKEY* subjectKey, const std::string& commonName, std::chrono::hours validity,
                      const Clock& clock)
{
    Certificate certificate(X509_new());
    const long seconds = static_cast<long>(std::chrono::seconds(validity).count());
    std::time_t now = std::chrono::system_clock::to_time_t(clock.WallNow());
    if (!certificate || X509_set_version(certificate.get(), X509_VERSION_3_VALUE) != 1 ||
        !SetRandomSerial(certificate.get()) || X509_set_pubkey(certificate.get(), subjectKey) != 1 ||
        !SetCommonName(X509_get_subject_name(certificate.get()), commonName) ||
        X509_time_adj_ex(X509_getm_notBefore(certificate.get()), 0, std::min(-CLOCK_SKEW_SECONDS, seconds - 1), &now) ==
            nullptr ||
        X509_time_adj_ex(X509_getm_notAfter(certificate.get()), 0, seconds, &now) == nullptr) {
        return nullptr;
    }
    return certificate;
}

// Makes the certificate expire no later than the given time.
bool LimitExpiry(X509* certificate, const ASN1_TIME* last)
{
    return ASN1_TIME_compare(X509_get0_notAfter(certificate), last) <= 0 || X509_set1_notAfter(certificate, last) == 1;
}

}  // namespace

Result<void> CheckName(const std::string& name, const std::string& what)
{
    if (name.empty() || name.size() > MAX_ACCOUNT_NAME) {
        return Fail(ErrorCode::INVALID_ARGUMENT, what + " \"" + EscapeHidden(name) + "\": 1 to " +
                                                     std::to_string(MAX_ACCOUNT_NAME) + " bytes are allowed");
    }
    if (!IsUtf8(name)) {
        return Fail(ErrorCode::INVALID_ARGUMENT, what + ": not UTF-8");
    }
    if (EscapeHidden(name) != name) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    what + ": control characters, including those of the writing direction, are not allowed");
    }
    return {};
}

bool SetCommonName(X509_NAME* name, const std::string& text)
{
    return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()), -1, 0) == 1;
}

Certificate MakeAccountCertificate(EVP_PKEY* key, const std::string& name, const Clock& clock)
{
    Certificate certificate = MakeDraft(key, name, ACCOUNT_VALIDITY, clock);
    if (!certificate || X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get())) != 1 ||
        !AddExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE,pathlen:0") ||
        !AddExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,digitalSignature") ||
        !AddExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash") ||
        X509_sign(certificate.get(), key, EVP_sha256()) == 0) {
        return nullptr;
    }
    return certificate;
}

Certificate MakeDeviceCertificate(EVP_PKEY* deviceKey, const std::string& deviceName, X509* account,
                                  EVP_PKEY* accountKey, std::chrono::hours validity, const Clock& clock)
{
    Certificate certificate = MakeDraft(deviceKey, deviceName, validity, clock);
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

}  // namespace Vexo::Trust
