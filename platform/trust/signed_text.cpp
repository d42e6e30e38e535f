#include "platform/trust/signed_text.h"

#include <openssl/err.h>

namespace Vexo::Trust {

namespace {

constexpr unsigned SIGN_FLAGS = CMS_BINARY | CMS_NOSMIMECAP | CMS_PARTIAL;

// Decodes a CMS message from DER. Returns null when the bytes are not one message, or when other bytes follow the
// message.
OpenSslPtr<CMS_ContentInfo> MessageFromDer(const std::string& der)
{
    const auto* begin = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = begin;
    OpenSslPtr<CMS_ContentInfo> message(d2i_CMS_ContentInfo(nullptr, &end, static_cast<long>(der.size())));
    return message && end == begin + der.size() ? std::move(message) : nullptr;
}

}  // namespace

SecretText SignText(const SecretText& text, X509* signer, EVP_PKEY* signerKey)
{
    const OpenSslPtr<BIO> content = ReaderOf(text.text);
    const OpenSslPtr<BIO> der(BIO_new(BIO_s_mem()));
    const OpenSslPtr<CMS_ContentInfo> message(CMS_sign(nullptr, nullptr, nullptr, nullptr, SIGN_FLAGS));
    if (!content || !der || !message ||
        CMS_add1_signer(message.get(), signer, signerKey, EVP_sha256(), SIGN_FLAGS) == nullptr ||
        CMS_final(message.get(), content.get(), nullptr, SIGN_FLAGS) != 1 ||
        i2d_CMS_bio(der.get(), message.get()) != 1) {
        return SecretText("");
    }
    return SecretText(WrittenTo(der.get()));
}

Result<SignedText> OpenSignedText(const std::string& der, const std::string& what)
{
    const OpenSslPtr<CMS_ContentInfo> message = MessageFromDer(der);
    ERR_clear_error();
    if (!message || OBJ_obj2nid(CMS_get0_type(message.get())) != NID_pkcs7_signed) {
        return Fail(ErrorCode::MALFORMED, what + " is damaged");
    }
    const OpenSslPtr<BIO> text(BIO_new(BIO_s_mem()));
    const bool isVerified = text && CMS_verify(message.get(), nullptr, nullptr, nullptr, text.get(),
                                               CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
    ERR_clear_error();
    Certificate signer;
    // CMS_verify accepts a message that has no signer, so the code below counts the signers.
    if (STACK_OF(X509)* const signers = isVerified ? CMS_get0_signers(message.get()) : nullptr; signers != nullptr) {
        if (sk_X509_num(signers) == 1 && X509_up_ref(sk_X509_value(signers, 0)) == 1) {
            signer.reset(sk_X509_value(signers, 0));
        }
        sk_X509_free(signers);
    }
    if (!signer) {
        return Fail(ErrorCode::UNTRUSTED, what + "'s signature is not valid");
    }
    return SignedText{SecretText(WrittenTo(text.get())), std::move(signer)};
}

}  // namespace Vexo::Trust
