// Signs texts with an account's key, and verifies them. A signed text is CMS SignedData (RFC 5652) in DER that contains
// the text and the signer's certificate. Used by platform/trust only. Functions without state that do not block; any
// thread.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

// Returns the signed text in DER. Empty when OpenSSL fails; OpenSslReason returns the cause.
SecretText SignText(const SecretText& text, X509* signer, EVP_PKEY* signerKey);

// A text whose signature is valid. The signer's certificate came with it, so the caller must compare it with the
// account's before trusting the text.
struct SignedText {
    SecretText text;
    Certificate signer;
};

// Checks that the message has one signer and a valid signature. The error's message begins with what, such as "the
// answer". MALFORMED: not SignedData, or bytes follow it. UNTRUSTED: the signature is not valid, or the number of
// signers is not one.
[[nodiscard]] Result<SignedText> OpenSignedText(const std::string& der, const std::string& what);

}  // namespace Vexo::Trust
