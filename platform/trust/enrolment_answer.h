// The answer to an enrolment request (docs/enrolment.md), as CMS (RFC 5652) in PEM: a text that the account's key
// signed, encrypted for the new device's key. Used by platform/trust only. Functions without state that do not block;
// any thread.
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

// Signs and encrypts the answer. answer.device must have a subject key identifier. accountKey: the key of
// answer.account.
[[nodiscard]] Result<std::string> SealAnswer(const EnrolmentAnswer& answer, EVP_PKEY* accountKey);

// Decrypts and decodes the answer. Checks that the account named in it signed it, and that link keys and state belong
// to that account. The caller must check the certificates. MALFORMED: not an answer, damaged, or a newer format of the
// answer. UNTRUSTED: for another key, or not signed by that account's key. INVALID_ARGUMENT: the state in it has a
// newer format.
[[nodiscard]] Result<EnrolmentAnswer> OpenAnswer(const std::string& pem, EVP_PKEY* deviceKey);

// The inner layer of an answer: a JSON object.
SecretText PrintAnswer(const EnrolmentAnswer& answer);
[[nodiscard]] Result<EnrolmentAnswer> ParseAnswer(const std::string& json);
// The outer layer of an answer: AuthEnvelopedData in PEM around SignedData (signed_text.h), encrypted for the key of
// the recipient's certificate. Empty when OpenSSL fails.
std::string EncryptText(const SecretText& text, X509* recipient);

}  // namespace Vexo::Trust
