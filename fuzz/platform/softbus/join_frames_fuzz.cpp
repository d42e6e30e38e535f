// Fuzzes the decoders of the messages with which a device joins an account by a ticket. The first byte of an input
// selects the message.
#include "platform/softbus/enrolment/join_frames.h"

#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "platform/trust/ticket.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {
namespace {

const std::string NONCE(Trust::JOIN_NONCE_BYTES, 'n');

std::vector<std::string> Samples()
{
    return {"n" + EncodeJoinNonce({NONCE, "laptop", "home"}), "r" + EncodeJoinRequest({NONCE, 0x0E, 1'000, "0"}),
            "a" + EncodeJoinAnswer({JoinFailure::NAME_TAKEN, "phone-2"}), "a" + EncodeJoinAnswer({})};
}

bool Run(std::string_view input)
{
    const std::string_view payload = input.substr(std::min<size_t>(input.size(), 1));
    if (input.starts_with('n')) {
        const auto nonce = DecodeJoinNonce(payload);
        Fuzz::Require(!nonce || EncodeJoinNonce(nonce.value()) == payload, "a JOIN_NONCE encodes to itself");
        return nonce.has_value();
    }
    if (input.starts_with('r')) {
        const auto request = DecodeJoinRequest(payload);
        Fuzz::Require(!request || EncodeJoinRequest(request.value()) == payload, "a JOIN_REQUEST encodes to itself");
        if (request) {
            const auto read = Trust::ReadRequest(request.value().requestDer);
            Fuzz::Require(!read || !read.value().name.empty(), "a request has a name");
        }
        return request.has_value();
    }
    const auto answer = DecodeJoinAnswer(payload);
    Fuzz::Require(
        !answer || answer.value().result == JoinFailure::REFUSED || EncodeJoinAnswer(answer.value()) == payload,
        "a JOIN_ANSWER encodes to itself");
    return answer.has_value();
}

const Fuzz::Registration REGISTRATION({"softbus_join", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
