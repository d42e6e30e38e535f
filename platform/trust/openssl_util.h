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
std::string KeyToPem(EVP_PKEY* key);
PrivateKey KeyFromPem(const std::string& pem);
std::string CertificateToPem(X509* certificate);
// The certificates of the text in order; empty when there is none or one is damaged.
std::vector<Certificate> CertificatesFromPem(const std::string& pem);
std::string RequestToPem(X509_REQ* request);
OpenSslPtr<X509_REQ> RequestFromPem(const std::string& pem);

std::string CommonNameOf(const X509_NAME* name);
// Another reference to the same certificate.
Certificate Share(X509* certificate);

// Checks that anchor's key signed certificate and that both are valid now; an error says what is wrong in words.
Result<void> VerifyAgainst(X509* certificate, X509* anchor);
// "it has expired", "it is not valid yet", "it is not signed by this account", else OpenSSL's words.
std::string VerifyErrorText(long error);

}  // namespace Vexo::Trust
