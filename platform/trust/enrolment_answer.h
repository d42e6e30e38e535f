// The answer to an enrolment request (docs/enrolment.md), in the format CMS (RFC 5652) in PEM. The answer is a text
// that the account's key signed and that is encrypted for the new device's key. Only platform/trust uses this header.
// The functions are thread-safe and do not block.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/signed_text.h"

namespace Vexo::Trust {

struct EnrolmentAnswer {
    Certificate device;
    Certificate account;
    LinkKeyRecord linkKeys;
    SignedStatePtr state;  // null in an answer of version 1
};

// Signs and encrypts an enrolment answer. The certificate answer.device must have a subject key identifier.
// accountKey: the private key of the certificate answer.account.
[[nodiscard]] Result<std::string> SealAnswer(const EnrolmentAnswer& answer, EVP_PKEY* accountKey);

// Decrypts and decodes an enrolment answer. Checks that the account in the answer has signed the answer, and that the
// link keys and the state belong to that account. The caller must check the certificates. MALFORMED: the text is not an
// answer, is damaged, or has a newer format. UNTRUSTED: the answer is encrypted for another key, the account's key did
// not sign it, or its link keys belong to another account. INVALID_ARGUMENT: the account's state in the answer has a
// newer format.
[[nodiscard]] Result<EnrolmentAnswer> OpenAnswer(const std::string& pem, EVP_PKEY* deviceKey);

// PrintAnswer and ParseAnswer write and read the inner layer of an enrolment answer, which is a JSON object.
SecretText PrintAnswer(const EnrolmentAnswer& answer);
[[nodiscard]] Result<EnrolmentAnswer> ParseAnswer(const std::string& json);
// Returns the outer layer of an enrolment answer: AuthEnvelopedData in PEM, encrypted for the key of the recipient's
// certificate. text: the inner layer as SignedData (signed_text.h). Returns an empty string when OpenSSL fails.
std::string EncryptText(const SecretText& text, X509* recipient);

}  // namespace Vexo::Trust
