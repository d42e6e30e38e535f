// Fuzzes the client's parsers of the daemon's answers.
#include <algorithm>
#include <iterator>

#include "fuzz/fuzz_target.h"
#include "interfaces/host_answers_json.h"

namespace Vexo::Host {
namespace {

std::vector<std::string> Samples()
{
    HostStatus status;
    status.device = {"B\u00FCro", DeviceType::LAPTOP, "ab"};
    status.account = "home";
    status.abilities = {{1120, "Wi-Fi", "linux"}, {1163, "service", "service"}};
    status.wifi = {true, RadioState::BLOCKED, WifiState::FAILED, 7, "caf\\xe9", "", "wrong key", "WRONG_KEY"};
    status.hotspot = {true, std::nullopt};
    status.uptime = std::chrono::milliseconds(90'061'001);
    return {AnswerText(status), AnswerText(DeviceList{{{}}}), AnswerText(CheckList{{{}}}), AnswerText(TracePiece{}),
            AnswerText(EventPage{7, true, {{{}, "D", "N", EventType::FAULT, {{"CODE", 1}, {"WHO", "a"}}}}})};
}

template <typename Answer>
bool Accepts(const std::string& input)
{
    return Fuzz::RoundTrips(input, ParseAnswer<Answer>, AnswerText<Answer>, "");
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
