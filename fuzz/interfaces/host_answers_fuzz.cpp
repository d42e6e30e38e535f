// Fuzzes the client's parsers of the daemon's answers.
#include <algorithm>
#include <iterator>

#include "fuzz/fuzz_target.h"
#include "interfaces/account_answers_json.h"
#include "interfaces/host_answers_json.h"
#include "interfaces/online_answers_json.h"
#include "interfaces/sharing_answers_json.h"

namespace Vexo::Host {
namespace {

HostStatus Status()
{
    HostStatus status;
    status.device = {"B\u00FCro", DeviceType::LAPTOP, "ab"};
    status.account = "home";
    status.abilities = {{1120, "Wi-Fi", "linux"}, {1163, "service", "service"}};
    status.wifi = {true, RadioState::BLOCKED, WifiState::FAILED, 7, "caf\\xe9", "", "wrong key", "WRONG_KEY"};
    status.hotspot = {true, std::nullopt};
    status.uptime = std::chrono::milliseconds(90'061'001);
    return status;
}

OnlineStatus FailedAttempt()
{
    OnlineStep step;
    step.state = OnlineStepState::FAILED;
    step.fault = OnlineFault{OnlineFaultCode::WRONG_KEY, "ab", "phone", "the key is wrong", ""};
    DeviceFacts facts;
    facts.signalPercent = 70;
    facts.isMetered = true;
    OnlineStatus status;
    status.attempt.phase = OnlinePhase::FAILED;
    status.attempt.steps = {step};
    status.attempt.facts = facts;
    status.attempt.fault = step.fault;
    status.attempt.undoneChanges = UndoneChanges();
    status.preferred = {"ab"};
    status.facts = {facts};
    return status;
}

ShareStatus SharedNetwork()
{
    ShareStatus share;
    share.users = {{"ab", "laptop", "02:00:5e:10:00:01", {}, 212, true, true}};
    share.requests = {{"cd", "tablet", {}}};
    share.rules = {{"ab", "laptop", ShareDecision::TODAY, std::chrono::sys_seconds(std::chrono::hours(490'000))}};
    share.monthLimitBytes = uint64_t{1} << 53;
    return share;
}

std::vector<std::string> Samples()
{
    return {AnswerText(Status()),
            AnswerText(DeviceList{{{}}}),
            AnswerText(CheckList{{{}}}),
            AnswerText(TracePiece{}),
            AnswerText(EventPage{7, true, {{{}, "D", "N", EventType::FAULT, {{"CODE", 1}, {"WHO", "a"}}}}}),
            AnswerText(FailedAttempt()),
            AnswerText(FailedAttempt().attempt),
            AnswerText(DownAnswer()),
            AnswerText(OnlineChange{OnlineFault()}),
            AnswerText(SharedNetwork()),
            AnswerText(ShareChange{ShareFault()}),
            AnswerText(MemberList{"home", {{}}, {{"old", "ef", {}}}, AccountFault()}),
            AnswerText(InvitationAnswer()),
            AnswerText(JoinAnswer())};
}

template <typename Answer>
bool Accepts(const std::string& input)
{
    return Fuzz::RoundTrips(input, ParseAnswer<Answer>, AnswerText<Answer>, "");
}

bool Run(std::string_view input)
{
    const std::string text(input);
    const bool any[] = {Accepts<HostStatus>(text),       Accepts<DeviceList>(text),   Accepts<CheckList>(text),
                        Accepts<TracePiece>(text),       Accepts<EventPage>(text),    Accepts<OnlineStatus>(text),
                        Accepts<OnlineAnswer>(text),     Accepts<DownAnswer>(text),   Accepts<ShareStatus>(text),
                        Accepts<ShareChange>(text),      Accepts<MemberList>(text),   Accepts<JoinAnswer>(text),
                        Accepts<InvitationAnswer>(text), Accepts<ChangeAnswer>(text), Accepts<OnlineChange>(text)};
    return std::find(std::begin(any), std::end(any), true) != std::end(any);
}

const Fuzz::Registration REGISTRATION({"host_answers", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
