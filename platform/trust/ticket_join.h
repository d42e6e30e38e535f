// The values that both devices compute when a device joins an account by ticket (ticket.h): the commitment (a hash of
// the enrolment request) and the six digits. Also converts the request between PEM and DER. The functions are
// thread-safe and do not block. docs/enrolment.md describes the messages.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t JOIN_NONCE_BYTES = 32;
inline constexpr size_t JOIN_COMMITMENT_BYTES = 32;

// The enrolment request of a new device that joins by ticket.
struct EnrolmentRequest {
    std::string pem;   // PKCS#10
    std::string name;  // the device's name; 1 to 64 bytes of UTF-8 without control characters
    std::string networkId;
};

[[nodiscard]] Result<std::string> MakeJoinNonce();
// Returns the hash with which the joiner (the new device) commits itself to its request before it knows the holder's
// nonce. Returns an empty string only when memory is short.
// request: the payload of the JOIN_REQUEST message that the joiner will send.
std::string JoinCommitment(std::string_view request);
// Returns the six digits that both devices show. Returns an empty string only when memory is short.
// exported: key material that TLS exports for the connection. Each connection has different key material. If an
// attacker who knows the ticket has one connection to each of the two devices, the devices therefore show different
// digits.
// request: the payload of the JOIN_REQUEST message, not a hash of it. The joiner keeps the payload secret until it
// knows the holder's nonce. The payload's hash is not secret, because it is the commitment (JoinCommitment).
std::string JoinNumber(const SecretBytes& exported, std::string_view holderNonce, std::string_view request);

// RequestToDer converts a PKCS#10 request from PEM to DER. ReadRequest decodes DER and checks the signature, the kind
// of key and the name, as for every enrolment (enrolment_request.h).
[[nodiscard]] Result<std::string> RequestToDer(const std::string& pem);
[[nodiscard]] Result<EnrolmentRequest> ReadRequest(std::string_view der);

}  // namespace Vexo::Trust
