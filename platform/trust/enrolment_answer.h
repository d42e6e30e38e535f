// The answer to a request to join (docs/enrolment.md): CMS (RFC 5652) in PEM, encrypted for the new device's key around
// what the account's key signed. Used by platform/trust only. Functions without state that do not block; any thread.
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

// device: the new device's certificate, with its subject key identifier. accountKey: the key of answer.account.
[[nodiscard]] Result<std::string> SealAnswer(const EnrolmentAnswer& answer, EVP_PKEY* accountKey);

// Decrypts and decodes the answer, and checks that the account named in it signed it and that link keys and state are
// of that account. The caller must check the certificates. MALFORMED when pem is no such answer or is damaged,
// UNTRUSTED when it is for another key or signed by another, INVALID_ARGUMENT when it is of a newer format.
[[nodiscard]] Result<EnrolmentAnswer> OpenAnswer(const std::string& pem, EVP_PKEY* deviceKey);

// Its layers. Innermost a JSON object;
SecretText PrintAnswer(const EnrolmentAnswer& answer);
[[nodiscard]] Result<EnrolmentAnswer> ParseAnswer(const std::string& json);
// around it SignedData (signed_text.h);
// and around that AuthEnvelopedData in PEM, for the key of that certificate; empty when OpenSSL fails.
std::string EncryptText(const SecretText& text, X509* recipient);

}  // namespace Vexo::Trust
