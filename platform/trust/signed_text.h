// Texts that an account's key has signed: CMS SignedData (RFC 5652) in DER with the text and the signer's certificate
// in it. Used by platform/trust only. Functions without state that do not block; any thread.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

// Empty when OpenSSL fails; OpenSslReason says why.
SecretText SignText(const SecretText& text, X509* signer, EVP_PKEY* signerKey);

// The signer's certificate was in the message: it counts for nothing until it is compared with the account's.
struct SignedText {
    SecretText text;
    Certificate signer;
};

// Checks that the message has one signer and that its signature holds. what begins the error's message: "the answer".
// MALFORMED: no such message, or bytes after it; UNTRUSTED: the signature does not hold.
[[nodiscard]] Result<SignedText> OpenSignedText(const std::string& der, const std::string& what);

}  // namespace Vexo::Trust
