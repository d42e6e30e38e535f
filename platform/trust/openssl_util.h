// Helpers for OpenSSL: owners of OpenSSL objects, conversions to and from PEM and DER, and checks of certificates. Only
// platform/trust uses this header. The functions are thread-safe. Unless a comment says otherwise, an empty result or a
// null pointer means failure, and OpenSslReason returns the cause.
#pragma once

#include <openssl/pem.h>  // include it before cms.h, which declares PEM functions only after pem.h

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/kdf.h>
#include <openssl/x509v3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/clock.h"
#include "platform/trust/identity.h"
#include "platform/trust/secret_text.h"

namespace Vexo::Trust {

struct OpenSslObjectDeleter {
    void operator()(BIO* bio) const noexcept { BIO_free_all(bio); }
    void operator()(X509_REQ* request) const noexcept { X509_REQ_free(request); }
    void operator()(X509_STORE* store) const noexcept { X509_STORE_free(store); }
    void operator()(X509_STORE_CTX* context) const noexcept { X509_STORE_CTX_free(context); }
    void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
    void operator()(BIGNUM* number) const noexcept { BN_free(number); }
    void operator()(CMS_ContentInfo* message) const noexcept { CMS_ContentInfo_free(message); }
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
    void operator()(EVP_KDF* function) const noexcept { EVP_KDF_free(function); }
    void operator()(EVP_KDF_CTX* context) const noexcept { EVP_KDF_CTX_free(context); }
    void operator()(PKCS8_PRIV_KEY_INFO* key) const noexcept { PKCS8_PRIV_KEY_INFO_free(key); }
    void operator()(EVP_PKEY_CTX* context) const noexcept { EVP_PKEY_CTX_free(context); }
    void operator()(X509_PUBKEY* key) const noexcept { X509_PUBKEY_free(key); }
};
template <typename T>
using OpenSslPtr = std::unique_ptr<T, OpenSslObjectDeleter>;

// Returns the reason text of the oldest error in OpenSSL's error queue of this thread, and clears the queue.
std::string OpenSslReason();

// Returns a BIO that reads from the string, which must outlive the BIO. Returns null only when memory is short.
OpenSslPtr<BIO> ReaderOf(const std::string& text);
// Returns the bytes that were written to a memory BIO.
std::string WrittenTo(BIO* bio);

PrivateKey GenerateKey();
bool IsP256(const EVP_PKEY* key);
// Returns true if this is a P-256 private key that matches the public key stored with it. OpenSSL reads both from a
// file without comparing them.
bool IsP256Pair(EVP_PKEY* key);
std::string KeyToPem(EVP_PKEY* key);
PrivateKey KeyFromPem(const std::string& pem);
std::string CertificateToPem(X509* certificate);
std::string CertificateToDer(X509* certificate);
// Decodes a certificate from DER. Returns null also when other bytes follow the certificate.
Certificate CertificateFromDer(const std::string& der);
// Returns all certificates in a PEM text, in their order. Returns an empty list when the text contains no certificate
// or a damaged certificate.
std::vector<Certificate> CertificatesFromPem(const std::string& pem);
std::string RequestToPem(X509_REQ* request);
OpenSslPtr<X509_REQ> RequestFromPem(const std::string& pem);

std::string MessageToPem(CMS_ContentInfo* message);
OpenSslPtr<CMS_ContentInfo> MessageFromPem(const std::string& pem);

std::string CommonNameOf(const X509_NAME* name);

// SignatureOf and IsSignatureOf use ECDSA with SHA-256. SignatureOf returns the signature in DER, or an empty string
// when OpenSSL fails.
std::string SignatureOf(const std::string& text, EVP_PKEY* key);
bool IsSignatureOf(const std::string& signature, const std::string& text, EVP_PKEY* key);

// Checks that a certificate was signed by the key of another certificate. anchor: that other certificate. Ignores
// validity periods. The error's message says what is wrong.
[[nodiscard]] Result<void> VerifySignedBy(X509* certificate, X509* anchor);
// Checks that the certificate is valid at the clock's current time. EXPIRED: the certificate has expired or is not
// valid yet.
[[nodiscard]] Result<void> VerifyValidNow(const X509* certificate, const Clock& clock = Clock::System());
// Returns a text for an X509_V_ERR code, such as "certificate has expired". For a code without a text of its own,
// returns OpenSSL's text.
std::string VerifyErrorText(long error);

}  // namespace Vexo::Trust
