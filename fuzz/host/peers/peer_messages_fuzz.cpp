// Fuzzes the decoder of the messages that daemons of different devices exchange.
#include "host/peers/peer_messages.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Host {
namespace {

std::vector<std::string> Samples()
{
    DeviceFacts facts;
    facts.technology = "5G";
    facts.signalPercent = 70;
    facts.isMetered = true;
    return {Encode(NumberedRequest{1, FactsRequest{}}),   Encode(NumberedRequest{2, LeaseRequest{"02:00:5e:10:00:01"}}),
            Encode(NumberedRequest{3, ReleaseRequest{}}), Encode(NumberedAnswer{1, facts}),
            Encode(NumberedAnswer{2, LeaseAnswer{true}}), Encode(NumberedAnswer{3, ReleaseAnswer{}}),
            Encode(NumberedAnswer{4, UnknownAnswer{}})};
}

struct Encoder {
    std::string operator()(const NumberedRequest& request) const { return Encode(request); }
    std::string operator()(const NumberedAnswer& answer) const { return Encode(answer); }
    // Encode does not exist for an unknown request. The text below decodes to the same value.
    std::string operator()(const UnknownRequest& request) const
    {
        return R"({"version":1,"ask":"?","request":)" + std::to_string(request.number) + "}";
    }
};

bool Run(std::string_view input)
{
    return Fuzz::RoundTrips(
        std::string(input), DecodePeerMessage,
        [](const PeerMessage& message) {
            std::string text = std::visit(Encoder{}, message);
            Fuzz::Require(text.size() <= MAX_PEER_MESSAGE, "what was read fits a message");
            return text;
        },
        "");
}

const Fuzz::Registration REGISTRATION({"peer_messages", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
