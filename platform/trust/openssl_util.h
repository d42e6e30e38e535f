// The project's reads and writes of PEM texts through OpenSSL, with owners for what it allocates. Used by
// platform/trust only. Functions without state; any thread. Empty results and null pointers mean failure; OpenSslReason
// says why.
#pragma once

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/trust/identity.h"

namespace Vexo::Trust {

struct OpenSslObjectDeleter {
    void operator()(BIO* bio) const noexcept { BIO_free_all(bio); }
    void operator()(X509_REQ* request) const noexcept { X509_REQ_free(request); }
    void operator()(X509_STORE* store) const noexcept { X509_STORE_free(store); }
    void operator()(X509_STORE_CTX* context) const noexcept { X509_STORE_CTX_free(context); }
    void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
    void operator()(BIGNUM* number) const noexcept { BN_free(number); }
};
template <typename T>
using OpenSslPtr = std::unique_ptr<T, OpenSslObjectDeleter>;

// OpenSSL's reason for the last failure on this thread; clears it.
std::string OpenSslReason();

PrivateKey GenerateKey();
bool IsP256(const EVP_PKEY* key);
std::string KeyToPem(EVP_PKEY* key);
PrivateKey KeyFromPem(const std::string& pem);
std::string CertificateToPem(X509* certificate);
// The certificates of the text in order; empty when there is none or one is damaged.
std::vector<Certificate> CertificatesFromPem(const std::string& pem);
std::string RequestToPem(X509_REQ* request);
OpenSslPtr<X509_REQ> RequestFromPem(const std::string& pem);

std::string CommonNameOf(const X509_NAME* name);

// Checks that anchor's key signed certificate; an error says what is wrong in words.
[[nodiscard]] Result<void> VerifySignedBy(X509* certificate, X509* anchor);
// Checks that the clock is within the certificate's validity.
[[nodiscard]] Result<void> VerifyValidNow(const X509* certificate);
// "certificate has expired", "certificate is not valid yet", "certificate not signed by this account", else OpenSSL's
// words for an X509_V_ERR code.
std::string VerifyErrorText(long error);

}  // namespace Vexo::Trust
