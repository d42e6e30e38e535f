// What the two sides of an enrolment by ticket (ticket.h) compute from what they exchange: the commitment, the six
// digits, and the request in the form in which it travels. Functions without state that do not block; any thread. The
// conversation: docs/enrolment.md.
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
    std::string name;  // the device's; 1 to 64 bytes of UTF-8 without control characters
    std::string networkId;
};

[[nodiscard]] Result<std::string> MakeJoinNonce();
// By it the joiner settles what it will send before it knows the holder's nonce. Empty only when memory is short.
std::string JoinCommitment(std::string_view request);
// The six digits that both devices show. exported: of the TLS link between them, so that somebody who holds the ticket
// and stands between two links makes two numbers. request: what the commitment hides until the holder's nonce is known;
// a hash of it would not do, since the commitment shows that. Empty only when memory is short.
std::string JoinNumber(const SecretBytes& exported, std::string_view holderNonce, std::string_view request);

// PKCS#10 in PEM as DER, and back; ReadRequest also makes the checks of every enrolment: signature, kind of key, name.
[[nodiscard]] Result<std::string> RequestToDer(const std::string& pem);
[[nodiscard]] Result<EnrolmentRequest> ReadRequest(std::string_view der);

}  // namespace Vexo::Trust
