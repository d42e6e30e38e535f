// The messages of two collaboration frameworks.
#include "platform/collaboration/collaboration_message.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::CollaborationFwk {
namespace {

template <typename Message>
std::string Encoded(const Message& message)
{
    Parcel parcel;
    Fuzz::Require(Encode(message, parcel), "a message fits");
    return {reinterpret_cast<const char*>(parcel.GetData()), parcel.GetDataSize()};
}

std::vector<std::string> Samples()
{
    return {Encoded(StartMessage{7, 1163, 0, "action", "parameters"}), Encoded(AnswerMessage{7, -1})};
}

bool Run(std::string_view input)
{
    const auto message = Decode(input.data(), input.size());
    if (const auto* start = std::get_if<StartMessage>(&message); start != nullptr) {
        // Padding may hold anything, so the bytes may differ once and never again.
        const std::string first = Encoded(*start);
        const auto again = Decode(first.data(), first.size());
        Fuzz::Require(first.size() == input.size() && std::holds_alternative<StartMessage>(again) &&
                          Encoded(std::get<StartMessage>(again)) == first,
                      "a start encodes to itself");
    } else if (const auto* answer = std::get_if<AnswerMessage>(&message); answer != nullptr) {
        Fuzz::Require(Encoded(*answer) == input, "an answer encodes to itself");
    }
    return message.index() != 0;
}

const Fuzz::Registration REGISTRATION({"collaboration_message", Samples, Run});

}  // namespace
}  // namespace Vexo::CollaborationFwk
