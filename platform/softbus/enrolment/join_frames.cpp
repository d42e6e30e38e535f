#include "platform/softbus/enrolment/join_frames.h"

#include <algorithm>
#include <array>

#include "platform/base/utf8.h"
#include "platform/softbus/link/fields.h"
#include "platform/trust/ticket.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {

namespace {

constexpr std::array SENT_RESULTS{JoinFailure::NONE,        JoinFailure::USED,       JoinFailure::EXPIRED,
                                  JoinFailure::DENIED,      JoinFailure::BUSY,       JoinFailure::NAME_TAKEN,
                                  JoinFailure::REMOVED_KEY, JoinFailure::WRONG_CLOCK};

bool IsShownName(const std::string& name)
{
    return !name.empty() && IsUtf8(name) && EscapeHidden(name) == name;
}

}  // namespace

std::string EncodeJoinNonce(const JoinNonce& nonce)
{
    std::string out = nonce.nonce;
    AppendText(out, nonce.holderName);
    AppendText(out, nonce.account);
    return out;
}

Result<JoinNonce> DecodeJoinNonce(std::string_view payload)
{
    FieldReader reader(payload);
    JoinNonce nonce;
    nonce.nonce = reader.TakeBytes(Trust::JOIN_NONCE_BYTES);
    nonce.holderName = reader.TakeText();
    nonce.account = reader.TakeText();
    if (!reader.Good() || !reader.AtEnd() || !IsShownName(nonce.holderName) || !IsShownName(nonce.account)) {
        return Fail(ErrorCode::MALFORMED, "JOIN_NONCE does not hold 32 bytes and two names");
    }
    return nonce;
}

std::string EncodeJoinRequest(const JoinRequest& request)
{
    std::string out = request.nonce;
    AppendNumber(out, request.deviceType);
    AppendNumber(out, static_cast<uint64_t>(request.clockMs));
    return out + request.requestDer;
}

Result<JoinRequest> DecodeJoinRequest(std::string_view payload)
{
    FieldReader reader(payload);
    JoinRequest request;
    request.nonce = reader.TakeBytes(Trust::JOIN_NONCE_BYTES);
    request.deviceType = reader.Take<uint16_t>();
    const auto clock = reader.Take<uint64_t>();
    if (!reader.Good() || reader.AtEnd()) {
        return Fail(ErrorCode::MALFORMED, "JOIN_REQUEST ends within a field");
    }
    if (clock > static_cast<uint64_t>(MAX_CLOCK_MS)) {
        return Fail(ErrorCode::MALFORMED, "JOIN_REQUEST has a clock that is not between the years 1970 and 9999");
    }
    request.clockMs = static_cast<int64_t>(clock);
    request.requestDer = reader.TakeRest();
    return request;
}

std::string EncodeJoinAnswer(const JoinAnswer& answer)
{
    std::string out;
    AppendNumber(out, static_cast<uint32_t>(answer.result));
    return out + answer.text;
}

Result<JoinAnswer> DecodeJoinAnswer(std::string_view payload)
{
    FieldReader reader(payload);
    const auto result = static_cast<JoinFailure>(static_cast<int32_t>(reader.Take<uint32_t>()));
    if (!reader.Good()) {
        return Fail(ErrorCode::MALFORMED, "JOIN_ANSWER ends within its result");
    }
    const bool isSent = std::find(SENT_RESULTS.begin(), SENT_RESULTS.end(), result) != SENT_RESULTS.end();
    return JoinAnswer{isSent ? result : JoinFailure::REFUSED, reader.TakeRest()};
}

}  // namespace Vexo::SoftBus
