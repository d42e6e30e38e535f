#include "platform/softbus/enrolment/join_frames.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/base/utf8.h"
#include "platform/trust/ticket.h"

namespace Vexo::SoftBus {

namespace {

constexpr size_t MAX_TEXT = 255;
constexpr int64_t MAX_CLOCK_MS = 253'402'300'799'999;  // the end of the year 9999
constexpr std::array SENT_RESULTS{JoinFailure::NONE,        JoinFailure::USED,       JoinFailure::EXPIRED,
                                  JoinFailure::DENIED,      JoinFailure::BUSY,       JoinFailure::NAME_TAKEN,
                                  JoinFailure::REMOVED_KEY, JoinFailure::WRONG_CLOCK};

template <typename Number>
void AppendNumber(std::string& out, Number value)
{
    for (size_t i = 0; i < sizeof(Number); ++i) {
        out.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
    }
}

void AppendText(std::string& out, std::string_view text)
{
    text = CutToBytes(text, MAX_TEXT);
    AppendNumber(out, static_cast<uint8_t>(text.size()));
    out.append(text);
}

// Takes the field off the front; nullopt when the rest is shorter.
std::optional<std::string> TakeBytes(std::string_view& rest, size_t count)
{
    if (rest.size() < count) {
        return std::nullopt;
    }
    std::string bytes(rest.substr(0, count));
    rest.remove_prefix(count);
    return bytes;
}

template <typename Number>
std::optional<Number> TakeNumber(std::string_view& rest)
{
    const auto bytes = TakeBytes(rest, sizeof(Number));
    Number value = 0;
    for (size_t i = 0; bytes && i < sizeof(Number); ++i) {
        value = static_cast<Number>(value | static_cast<Number>(static_cast<uint8_t>((*bytes)[i])) << (8 * i));
    }
    return bytes ? std::optional(value) : std::nullopt;
}

// A name that can be shown.
std::optional<std::string> TakeName(std::string_view& rest)
{
    const auto length = TakeNumber<uint8_t>(rest);
    auto name = length ? TakeBytes(rest, *length) : std::nullopt;
    return name && !name->empty() && IsUtf8(*name) && EscapeHidden(*name) == *name ? name : std::nullopt;
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
    auto nonce = TakeBytes(payload, Trust::JOIN_NONCE_BYTES);
    auto holder = TakeName(payload);
    auto account = TakeName(payload);
    if (!nonce || !holder || !account || !payload.empty()) {
        return Fail(ErrorCode::MALFORMED, "JOIN_NONCE does not hold 32 bytes and two names");
    }
    return JoinNonce{std::move(*nonce), std::move(*holder), std::move(*account)};
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
    auto nonce = TakeBytes(payload, Trust::JOIN_NONCE_BYTES);
    const auto type = TakeNumber<uint16_t>(payload);
    const auto clock = TakeNumber<uint64_t>(payload);
    if (!nonce || !type || !clock || payload.empty()) {
        return Fail(ErrorCode::MALFORMED, "JOIN_REQUEST ends within a field");
    }
    if (*clock > static_cast<uint64_t>(MAX_CLOCK_MS)) {
        return Fail(ErrorCode::MALFORMED, "JOIN_REQUEST has a clock that is not between the years 1970 and 9999");
    }
    return JoinRequest{std::move(*nonce), *type, static_cast<int64_t>(*clock), std::string(payload)};
}

std::string EncodeJoinAnswer(const JoinAnswer& answer)
{
    std::string out;
    AppendNumber(out, static_cast<uint32_t>(answer.result));
    return out + answer.text;
}

Result<JoinAnswer> DecodeJoinAnswer(std::string_view payload)
{
    const auto number = TakeNumber<uint32_t>(payload);
    if (!number) {
        return Fail(ErrorCode::MALFORMED, "JOIN_ANSWER ends within its result");
    }
    const auto result = static_cast<JoinFailure>(static_cast<int32_t>(*number));
    const bool isSent = std::find(SENT_RESULTS.begin(), SENT_RESULTS.end(), result) != SENT_RESULTS.end();
    return JoinAnswer{isSent ? result : JoinFailure::REFUSED, std::string(payload)};
}

}  // namespace Vexo::SoftBus
