// The payloads of the frames of an enrolment by ticket. The joiner (the new device) sends JOIN_COMMIT. The holder (the
// device that created the ticket) sends JOIN_NONCE. The joiner sends JOIN_REQUEST. A person compares the numbers that
// both devices show, and the holder sends JOIN_ANSWER. Notation: link/frame.h. Pure functions; thread-safe. More about
// these frames: docs/enrolment.md.
//
//   JOIN_COMMIT   32 bytes: SHA-256 of the payload of the JOIN_REQUEST that will follow
//   JOIN_NONCE    32 random bytes | text name of the holder | text name of its account
//   JOIN_REQUEST  32 random bytes | u16 device type | i64 the joiner's clock, milliseconds since 1970, UTC
//                 | the rest: PKCS#10 in DER
//   JOIN_ANSWER   i32 result (JoinFailure; 0: admitted) | the rest: the enrolment answer in PEM if the result is 0,
//                 a free name if it is NAME_TAKEN, otherwise a phrase for a person
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/result.h"
#include "platform/softbus/enrolment/join_attempt.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {

struct JoinNonce {
    std::string nonce;  // Trust::JOIN_NONCE_BYTES bytes
    std::string holderName;
    std::string account;
};
std::string EncodeJoinNonce(const JoinNonce& nonce);
[[nodiscard]] Result<JoinNonce> DecodeJoinNonce(std::string_view payload);

struct JoinRequest {
    std::string nonce;  // Trust::JOIN_NONCE_BYTES bytes
    uint16_t deviceType = 0;
    int64_t clockMs = 0;
    std::string requestDer;
};
std::string EncodeJoinRequest(const JoinRequest& request);
[[nodiscard]] Result<JoinRequest> DecodeJoinRequest(std::string_view payload);

struct JoinAnswer {
    JoinFailure result = JoinFailure::NONE;
    std::string text;
};
std::string EncodeJoinAnswer(const JoinAnswer& answer);
// If the payload contains a result that a holder never sends, the decoded result is REFUSED.
[[nodiscard]] Result<JoinAnswer> DecodeJoinAnswer(std::string_view payload);

}  // namespace Vexo::SoftBus
