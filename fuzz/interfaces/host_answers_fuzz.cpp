// The daemon's answers, as a client reads them.
#include <algorithm>
#include <iterator>

#include "fuzz/fuzz_target.h"
#include "interfaces/host_answers_json.h"

namespace Vexo::Host {
namespace {

std::vector<std::string> Samples()
{
    HostStatus status;
    status.account = "home";
    status.abilities = {{1120, "Wi-Fi", "linux"}};
    return {AnswerText(status), AnswerText(DeviceList{{{}}}), AnswerText(CheckList{{{}}}), AnswerText(TracePiece{}),
            AnswerText(EventPage{7, true, {{{}, "D", "N", EventType::FAULT, {{"CODE", 1}, {"WHO", "a"}}}}})};
}

template <typename Answer>
bool Accepts(const std::string& input)
{
    const auto read = ParseAnswer<Answer>(input);
    if (!read) {
        Fuzz::Require(!read.error().message.empty(), "a refusal says why");
        return false;
    }
    const std::string text = AnswerText(read.value());
    const auto again = ParseAnswer<Answer>(text);
    Fuzz::Require(again && AnswerText(again.value()) == text, "an answer is written as it was read");
    return true;
}

bool Run(std::string_view input)
{
    const std::string text(input);
    const bool any[] = {Accepts<HostStatus>(text), Accepts<DeviceList>(text), Accepts<CheckList>(text),
                        Accepts<TracePiece>(text), Accepts<EventPage>(text)};
    return std::find(std::begin(any), std::end(any), true) != std::end(any);
}

const Fuzz::Registration REGISTRATION({"host_answers", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
