// The values that both sides of an enrolment by ticket (ticket.h) compute: the commitment, the six digits, and the
// conversion of the request. Functions without state that do not block; any thread. The messages: docs/enrolment.md.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t JOIN_NONCE_BYTES = 32;
inline constexpr size_t JOIN_COMMITMENT_BYTES = 32;

// A request for enrolment that a joiner sent.
struct EnrolmentRequest {
    std::string pem;   // PKCS#10
    std::string name;  // the device's name; 1 to 64 bytes of UTF-8 without control characters
    std::string networkId;
};

[[nodiscard]] Result<std::string> MakeJoinNonce();
// Returns the hash that commits the joiner to its request before it knows the holder's nonce. request: the payload of
// the JOIN_REQUEST that the joiner will send. Empty only when memory is short.
std::string JoinCommitment(std::string_view request);
// Returns the six digits that both devices show.
// exported: key material that TLS exports for the link. An attacker between the devices, who knows the ticket, has one
// link to each device, so the two devices show different digits.
// request: the payload of JOIN_REQUEST itself, which stays hidden until the holder's nonce is known. A hash of the
// request would not do, because the commitment reveals that hash.
// Empty only when memory is short.
std::string JoinNumber(const SecretBytes& exported, std::string_view holderNonce, std::string_view request);

// RequestToDer converts a PKCS#10 request from PEM to DER. ReadRequest decodes DER and makes the checks of every
// enrolment (enrolment_request.h): signature, kind of key, name.
[[nodiscard]] Result<std::string> RequestToDer(const std::string& pem);
[[nodiscard]] Result<EnrolmentRequest> ReadRequest(std::string_view der);

}  // namespace Vexo::Trust
