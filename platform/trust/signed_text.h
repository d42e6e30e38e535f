// Signs texts with an account's key, and verifies signed texts. A signed text is CMS SignedData (RFC 5652) in DER that
// contains the text and the signer's certificate. Only platform/trust uses this header. The functions are thread-safe
// and do not block.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

// Returns the signed text in DER. Returns an empty text when OpenSSL fails; OpenSslReason then returns the cause.
SecretText SignText(const SecretText& text, X509* signer, EVP_PKEY* signerKey);

// A text whose signature is valid. The signer's certificate comes from the message itself. The caller must therefore
// compare that certificate with the account's certificate before trusting the text.
struct SignedText {
    SecretText text;
    Certificate signer;
};

// Verifies a signed text and returns it. MALFORMED: the bytes are not SignedData, or other bytes follow it. UNTRUSTED:
// the signature is not valid, or the number of signers is not one.
// what: the text with which error messages begin, such as "the answer".
[[nodiscard]] Result<SignedText> OpenSignedText(const std::string& der, const std::string& what);

}  // namespace Vexo::Trust
