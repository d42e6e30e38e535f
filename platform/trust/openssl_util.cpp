#include "platform/trust/openssl_util.h"

#include <openssl/ec.h>
#include <openssl/err.h>

#include <array>
#include <ctime>
#include <string_view>

namespace Vexo::Trust {

namespace {

template <typename Write>
std::string Written(Write write)
{
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    return bio && write(bio.get()) == 1 ? WrittenTo(bio.get()) : "";
}

// A passphrase callback that always fails, because private keys of devices and accounts have no passphrase. Without a
// callback, OpenSSL would ask for a passphrase on the terminal.
int NoPassphrase(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*context*/)
{
    return -1;
}

}  // namespace

std::string OpenSslReason()
{
    const unsigned long error = ERR_get_error();
    ERR_clear_error();
    const char* reason = error != 0 ? ERR_reason_error_string(error) : nullptr;
    return reason != nullptr ? reason : "no reason given";
}

OpenSslPtr<BIO> ReaderOf(const std::string& text)
{
    return OpenSslPtr<BIO>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

std::string WrittenTo(BIO* bio)
{
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? std::string(data, static_cast<size_t>(size)) : "";
}

PrivateKey GenerateKey()
{
    return PrivateKey(EVP_EC_gen("P-256"));
}

bool IsP256(const EVP_PKEY* key)
{
    std::array<char, 32> group{};
    return EVP_PKEY_is_a(key, "EC") == 1 && EVP_PKEY_get_group_name(key, group.data(), group.size(), nullptr) == 1 &&
           std::string_view(group.data()) == SN_X9_62_prime256v1;
}

bool IsP256Pair(EVP_PKEY* key)
{
    const OpenSslPtr<EVP_PKEY_CTX> context(IsP256(key) ? EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr) : nullptr);
    return context && EVP_PKEY_check(context.get()) == 1;
}

std::string KeyToPem(EVP_PKEY* key)
{
    return Written(
        [key](BIO* bio) { return PEM_write_bio_PKCS8PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

PrivateKey KeyFromPem(const std::string& pem)
{
    return PrivateKey(PEM_read_bio_PrivateKey(ReaderOf(pem).get(), nullptr, NoPassphrase, nullptr));
}

std::string CertificateToPem(X509* certificate)
{
    return Written([certificate](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string CertificateToDer(X509* certificate)
{
    return Written([certificate](BIO* bio) { return i2d_X509_bio(bio, certificate); });
}

Certificate CertificateFromDer(const std::string& der)
{
    const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = begin;
    Certificate certificate(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
    return certificate && end == begin + der.size() ? std::move(certificate) : nullptr;
}

std::vector<Certificate> CertificatesFromPem(const std::string& pem)
{
    std::vector<Certificate> certificates;
    const OpenSslPtr<BIO> bio = ReaderOf(pem);
    for (;;) {
        Certificate certificate(PEM_read_bio_X509(bio.get(), nullptr, NoPassphrase, nullptr));
        if (!certificate) {
            break;
        }
        certificates.push_back(std::move(certificate));
    }
    // After the last certificate, OpenSSL reports PEM_R_NO_START_LINE. Any other error means that the text is damaged.
    if (ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE) {
        certificates.clear();
    } else if (!certificates.empty()) {
        ERR_clear_error();
    }
    return certificates;
}

std::string RequestToPem(X509_REQ* request)
{
    return Written([request](BIO* bio) { return PEM_write_bio_X509_REQ(bio, request); });
}

OpenSslPtr<X509_REQ> RequestFromPem(const std::string& pem)
{
    return OpenSslPtr<X509_REQ>(PEM_read_bio_X509_REQ(ReaderOf(pem).get(), nullptr, NoPassphrase, nullptr));
}

std::string MessageToPem(CMS_ContentInfo* message)
{
    return Written([message](BIO* bio) { return PEM_write_bio_CMS(bio, message); });
}

OpenSslPtr<CMS_ContentInfo> MessageFromPem(const std::string& pem)
{
    return OpenSslPtr<CMS_ContentInfo>(PEM_read_bio_CMS(ReaderOf(pem).get(), nullptr, NoPassphrase, nullptr));
}

std::string CommonNameOf(const X509_NAME* name)
{
    const int at = X509_NAME_get_index_by_NID(name, NID_commonName, -1);
    if (at < 0) {
        return "";
    }
    unsigned char* text = nullptr;
    const int length = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, at)));
    if (length < 0) {
        return "";
    }
    std::string result(reinterpret_cast<const char*>(text), static_cast<size_t>(length));
    OPENSSL_free(text);
    return result;
}

std::string SignatureOf(const std::string& text, EVP_PKEY* key)
{
    const OpenSslPtr<EVP_MD_CTX> context(EVP_MD_CTX_new());
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    size_t size = static_cast<size_t>(EVP_PKEY_get_size(key));
    std::string signature(size, '\0');
    if (!context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) != 1 ||
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, bytes, text.size()) !=
            1) {
        return "";
    }
    signature.resize(size);
    return signature;
}

bool IsSignatureOf(const std::string& signature, const std::string& text, EVP_PKEY* key)
{
    const OpenSslPtr<EVP_MD_CTX> context(EVP_MD_CTX_new());
    const bool isVerified =
        context && EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
        EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(signature.data()), signature.size(),
                         reinterpret_cast<const unsigned char*>(text.data()), text.size()) == 1;
    ERR_clear_error();
    return isVerified;
}

Result<void> VerifySignedBy(X509* certificate, X509* anchor)
{
    const OpenSslPtr<X509_STORE> store(X509_STORE_new());
    const OpenSslPtr<X509_STORE_CTX> context(X509_STORE_CTX_new());
    if (!store || !context || X509_STORE_add_cert(store.get(), anchor) != 1 ||
        X509_STORE_CTX_init(context.get(), store.get(), certificate, nullptr) != 1) {
        return Fail(ErrorCode::SYSTEM, OpenSslReason());
    }
    X509_VERIFY_PARAM_set_flags(X509_STORE_CTX_get0_param(context.get()), X509_V_FLAG_NO_CHECK_TIME);
    if (X509_verify_cert(context.get()) != 1) {
        ERR_clear_error();
        return Fail(ErrorCode::UNTRUSTED, VerifyErrorText(X509_STORE_CTX_get_error(context.get())));
    }
    return {};
}

Result<void> VerifyValidNow(const X509* certificate, const Clock& clock)
{
    std::time_t now = std::chrono::system_clock::to_time_t(clock.WallNow());
    // X509_cmp_time returns 0 when it cannot read the time in a damaged certificate. Such a certificate is not valid,
    // so 0 is an error too.
    if (X509_cmp_time(X509_get0_notAfter(certificate), &now) <= 0) {
        return Fail(ErrorCode::EXPIRED, VerifyErrorText(X509_V_ERR_CERT_HAS_EXPIRED));
    }
    if (X509_cmp_time(X509_get0_notBefore(certificate), &now) >= 0) {
        return Fail(ErrorCode::EXPIRED, VerifyErrorText(X509_V_ERR_CERT_NOT_YET_VALID));
    }
    return {};
}

std::string VerifyErrorText(long error)
{
    switch (error) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return "certificate has expired";
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return "certificate is not valid yet; is the clock right?";
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_CERT_SIGNATURE_FAILURE:
            return "certificate not signed by this account";
        default:
            return X509_verify_cert_error_string(error);
    }
}

}  // namespace Vexo::Trust
