// Fuzzes the decoder of the messages that two collaboration frameworks exchange.
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
    return {Encoded(StartMessage{7, 1163, 0, "action", "parameters"}), Encoded(AnswerMessage{7, -1}),
            Encoded(DataMessage{"data"}), Encoded(ReadyMessage{})};
}

std::string Encoded(const std::monostate&)
{
    return {};
}

bool Run(std::string_view input)
{
    const Message message = Decode(input.data(), input.size());
    if (message.index() == 0) {
        return false;
    }
    const auto encode = [](const auto& kind) { return Encoded(kind); };
    // Padding may contain any bytes, so the first encoding may differ from the input. The second encoding must equal
    // the first.
    const std::string first = std::visit(encode, message);
    const Message again = Decode(first.data(), first.size());
    Fuzz::Require(
        first.size() == input.size() && again.index() == message.index() && std::visit(encode, again) == first,
        "a message encodes to itself");
    return true;
}

const Fuzz::Registration REGISTRATION({"collaboration_message", Samples, Run});

}  // namespace
}  // namespace Vexo::CollaborationFwk
