#include "host/online/attempt.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "host/online/facts_round.h"
#include "host/online/online_events.h"
#include "platform/base/text.h"

namespace Vexo::Host {
namespace {

using Code = OnlineFaultCode;
using Kind = OnlineStepKind;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

}  // namespace

Attempt::Attempt(Environment environment, AttemptTask task)
    : env_(std::move(environment)), options_(env_.options), task_(std::move(task)), before_(task_.before)
{
}

Attempt::Fault Attempt::CheckThisDevice() const
{
    if (Fault fault = options_.whyNoAccount()) {
        return fault;
    }
    const WifiStatus wifi = options_.wifi();
    if (!wifi.present || wifi.radio == RadioState::ABSENT) {
        return MakeFault(Code::WIFI_ABSENT);
    }
    if (wifi.radio == RadioState::BLOCKED) {
        return MakeFault(Code::WIFI_BLOCKED);
    }
    return wifi.radio == RadioState::SWITCHED_OFF ? Fault(MakeFault(Code::WIFI_OFF)) : std::nullopt;
}

Attempt::Trial Attempt::TrialOf(const std::string& networkId) const
{
    Trial trial;
    trial.device.networkId = networkId;
    for (const KnownDevice& device : options_.devices()) {
        if (device.networkId == networkId) {
            trial.device = device;
        }
    }
    trial.named = {networkId, trial.device.name};
    trial.use.networkId = networkId;
    trial.use.deviceName = trial.device.name.empty() ? ShortId(networkId) : trial.device.name;
    return trial;
}

std::vector<KnownDevice> Attempt::Candidates()
{
    const std::vector<KnownDevice> known = options_.devices();
    if (task_.networkIds.empty()) {
        if (known.empty()) {
            Record(MakeFault(Code::NO_DEVICES), Kind::FIND);
        }
        std::vector<std::string> reachable;
        for (const KnownDevice& device : known) {
            if (device.online) {
                reachable.push_back(device.networkId);
            }
        }
        if (reachable.size() > 1) {
            AskForFacts(options_, env_.memory, reachable, FACTS_ROUND_LIMIT);
        }
        std::vector<KnownDevice> ranked = RankCandidates(known, env_.memory->CurrentExperience());
        if (ranked.empty() && !known.empty()) {
            ranked.push_back(*std::max_element(known.begin(), known.end(),
                                               [](const auto& a, const auto& b) { return a.lastSeen < b.lastSeen; }));
        }
        return ranked;
    }
    std::vector<KnownDevice> chosen;
    for (const std::string& networkId : task_.networkIds) {
        const auto found = std::find_if(known.begin(), known.end(),
                                        [&](const KnownDevice& device) { return device.networkId == networkId; });
        const bool isTwice = std::any_of(chosen.begin(), chosen.end(),
                                         [&](const KnownDevice& device) { return device.networkId == networkId; });
        if (found != known.end() && !isTwice) {
            chosen.push_back(*found);
        } else if (found == known.end()) {
            Record(MakeFault(Code::UNKNOWN_DEVICE, FaultDevice{networkId, ""}, ShortId(networkId)), Kind::FIND);
        }
    }
    return chosen;
}

// ---- The steps of an attempt

size_t Attempt::BeginStep(Kind kind, const FaultDevice& device)
{
    OnlineStep step;
    step.networkId = device.networkId;
    step.deviceName = device.name;
    step.kind = kind;
    steps_.push_back(std::move(step));
    stepsBegan_.push_back(options_.timers->Now());
    env_.changed(steps_);
    return steps_.size() - 1;
}

Attempt::Fault Attempt::EndStep(size_t step, Fault fault)
{
    steps_[step].took = duration_cast<milliseconds>(options_.timers->Now() - stepsBegan_[step]);
    steps_[step].state = fault ? OnlineStepState::FAILED : OnlineStepState::DONE;
    steps_[step].fault = fault;
    env_.changed(steps_);
    return fault;
}

Attempt::Fault Attempt::Cancelled(const Trial& trial) const
{
    return IsCancelled() ? Fault(MakeFault(Code::CANCELLED, trial.named)) : std::nullopt;
}

Attempt::Fault Attempt::Find(Trial& trial, size_t step)
{
    const Result<PeerAnswer> answer = options_.peers->Ask(trial.named.networkId, FactsRequest{},
                                                          options_.timers->Now() + FIND_LIMIT, env_.cancellation);
    if (IsCancelled()) {
        return Cancelled(trial);
    }
    trial.device = TrialOf(trial.named.networkId).device;
    // REFUSED counts as found, because a device that refuses is reachable. Its software may be too old to answer.
    if (!answer && answer.error().code == ErrorCode::NOT_FOUND) {
        return MakeFault(Code::UNKNOWN_DEVICE, trial.named, trial.use.deviceName);
    }
    if (!answer && answer.error().code != ErrorCode::REFUSED) {
        return NotReached(trial.device, std::chrono::floor<std::chrono::seconds>(options_.timers->WallNow()));
    }
    steps_[step].transport = trial.device.transport;
    if (const auto* facts = answer ? std::get_if<DeviceFacts>(&answer.value()) : nullptr) {
        trial.use.facts = *facts;
        trial.use.facts->networkId = trial.named.networkId;
        trial.use.facts->at = std::chrono::floor<std::chrono::seconds>(options_.timers->WallNow());
        env_.memory->SetFacts(*trial.use.facts);
        if (Fault fault = FaultOf(*facts, trial.named)) {
            return fault;
        }
    }
    return *env_.isAutomatic ? WhyNotByItself(trial) : std::nullopt;
}

Attempt::Fault Attempt::WhyNotByItself(const Trial& trial) const
{
    if (env_.memory->MayTryByItself(trial.named.networkId)) {
        return std::nullopt;
    }
    return MakeFault(Code::NOT_ALLOWED, trial.named, " yet, and automatic mode does not ask");
}

Attempt::Fault Attempt::OpenHotspot(Trial& trial, size_t step)
{
    trial.wifiBefore = options_.wifi();
    (void)env_.memory->TakeRefusal(trial.named.networkId);
    trial.mayBeOpen = true;
    env_.asked(trial.use);
    const SteadyTime began = options_.timers->Now();
    const ServiceAnswer answer = options_.askService(trial.named.networkId);
    const auto took = duration_cast<milliseconds>(options_.timers->Now() - began);
    const WifiStatus wifi = options_.wifi();
    if (wifi.attempt != trial.wifiBefore.attempt) {
        trial.use.wifiAttempt = wifi.attempt;
        steps_[step].ssid = wifi.ssid;
    }
    if (!answer.wasAsked) {
        trial.mayBeOpen = false;
        return IsCancelled() ? Cancelled(trial) : MakeFault(Code::NO_SERVICE, trial.named);
    }
    if (answer.code == 0 || IsCancelled()) {
        return Cancelled(trial);
    }
    return WhyNoHotspot(trial, answer.code, took);
}

OnlineFault Attempt::WhyNoHotspot(Trial& trial, int32_t code, milliseconds took)
{
    const SoftBus::PeerRefusal refusal = env_.memory->TakeRefusal(trial.named.networkId);
    if (refusal != SoftBus::PeerRefusal::NONE) {
        trial.mayBeOpen = false;
        return FaultOf(refusal, trial.named);
    }
    if (Fault fault = CheckThisDevice()) {
        return *std::move(fault);  // a fault of this device prevented the join
    }
    RefreshFactsOf(trial);
    if (Fault fault = trial.use.facts ? FaultOf(*trial.use.facts, trial.named) : std::nullopt) {
        return *std::move(fault);
    }
    return HotspotFault(code, took, TrialOf(trial.named.networkId).device);
}

void Attempt::RefreshFactsOf(Trial& trial)
{
    const auto before = std::chrono::floor<std::chrono::seconds>(options_.timers->WallNow());
    AskForFacts(options_, env_.memory, {trial.named.networkId}, FRESH_FACTS_LIMIT);
    const Experience experience = env_.memory->CurrentExperience();
    const auto facts = experience.facts.find(trial.named.networkId);
    if (facts != experience.facts.end() && facts->second.at >= before) {
        trial.use.facts = facts->second;
    }
}

Attempt::Fault Attempt::Join(Trial& trial, size_t step)
{
    constexpr milliseconds CANCELLATION_INTERVAL{200};
    const SteadyTime deadline = options_.timers->Now() + JOIN_LIMIT;
    for (WifiStatus wifi = options_.wifi();;) {
        if (IsCancelled()) {
            return Cancelled(trial);
        }
        if (wifi.attempt != trial.wifiBefore.attempt) {
            trial.use.wifiAttempt = wifi.attempt;
            steps_[step].ssid = wifi.ssid;
            if (wifi.state == WifiState::FAILED || wifi.state == WifiState::DISCONNECTED) {
                return JoinFault(wifi.failure, wifi.reason, trial.named);
            }
            trial.joined = wifi.state == WifiState::CONNECTED ? options_.station->Joined() : std::nullopt;
        }
        if (trial.joined) {
            trial.use.macAddress = trial.joined->macAddress;
            steps_[step].security = trial.joined->security;
            steps_[step].address = trial.joined->address;
            return std::nullopt;
        }
        if (!wifi.present) {
            return MakeFault(Code::WIFI_ABSENT, trial.named);
        }
        const auto left = duration_cast<milliseconds>(deadline - options_.timers->Now());
        if (left.count() <= 0) {
            return MakeFault(Code::JOIN_FAILED, trial.named, " within " + RoughDuration(JOIN_LIMIT));
        }
        wifi = options_.waitForWifi(wifi, std::min(left, CANCELLATION_INTERVAL));
    }
}

Attempt::Fault Attempt::CheckNetwork(Trial& trial)
{
    if (!trial.joined->gateway.empty()) {
        options_.suggestAddress(trial.named.networkId, trial.joined->gateway);
    }
    const Network::OnlineVerdict verdict = options_.network->CheckOnline(
        *trial.joined, options_.timers->Now() + ONLINE_CHECK_LIMIT, [this] { return IsCancelled(); });
    if (IsCancelled()) {
        return Cancelled(trial);
    }
    if (!IsOnNetworkOf(options_, trial.use)) {
        return JoinFault("", "the network went away while it was checked", trial.named);
    }
    if (verdict != Network::OnlineVerdict::NO_INTERNET) {
        return std::nullopt;
    }
    RefreshFactsOf(trial);  // the device's DeviceFacts may contain the cause
    return NoInternet(trial.use.facts, trial.named);
}

// ---- Running the attempt

void Attempt::Record(const OnlineFault& fault, Kind step)
{
    std::erase_if(failures_, [&](const Failure& failure) { return failure.fault.networkId == fault.networkId; });
    failures_.push_back({fault, step});
}

void Attempt::KeepUndoneChanges(UndoneChanges undoneChanges)
{
    // Only the undo that reconnects to a network sets backOn to the name of that network. Later undos leave backOn
    // empty, so keep the name.
    if (end_.undoneChanges && undoneChanges.backOn.empty()) {
        undoneChanges.backOn = end_.undoneChanges->backOn;
    }
    undoneChanges.hasLeftWifi = undoneChanges.hasLeftWifi || (end_.undoneChanges && end_.undoneChanges->hasLeftWifi);
    end_.undoneChanges = std::move(undoneChanges);
}

bool Attempt::GiveUp(Trial& trial, const OnlineFault& fault, Kind step)
{
    if (fault.code == Code::NO_INTERNET && task_.mode == OnlineMode::START) {
        Record(fault, step);
        end_.inUse = trial.use;
        end_.isNew = true;
        return false;
    }
    if (fault.code == Code::OWNER_ASKED) {
        asked_.push_back(trial);
    }
    Record(fault, step);
    if (trial.use.wifiAttempt == 0 && trial.mayBeOpen) {
        const uint32_t attempt = options_.wifi().attempt;
        trial.use.wifiAttempt = attempt != trial.wifiBefore.attempt ? attempt : 0;
    }
    if (trial.mayBeOpen) {
        KeepUndoneChanges(Undo(options_, trial.use, env_.stop).undoneChanges);
    }
    return false;
}

bool Attempt::Try(Trial& trial)
{
    const size_t find = BeginStep(Kind::FIND, trial.named);
    if (const Fault fault = EndStep(find, Find(trial, find))) {
        return GiveUp(trial, *fault, Kind::FIND);
    }
    const size_t hotspot = BeginStep(Kind::HOTSPOT, trial.named);
    if (const Fault fault = EndStep(hotspot, OpenHotspot(trial, hotspot))) {
        return GiveUp(trial, *fault, Kind::HOTSPOT);
    }
    return JoinAndCheck(trial);
}

bool Attempt::JoinAndCheck(Trial& trial)
{
    const size_t wifi = BeginStep(Kind::WIFI, trial.named);
    if (const Fault fault = EndStep(wifi, Join(trial, wifi))) {
        return GiveUp(trial, *fault, Kind::WIFI);
    }
    const size_t online = BeginStep(Kind::ONLINE, trial.named);
    if (const Fault fault = EndStep(online, CheckNetwork(trial))) {
        return GiveUp(trial, *fault, Kind::ONLINE);
    }
    std::erase_if(failures_, [&](const Failure& failure) { return failure.fault.networkId == trial.named.networkId; });
    end_.inUse = trial.use;
    end_.isNew = true;
    isOnline_ = true;
    return true;
}

// Waits for the decisions of the devices' owners. Begins one more HOTSPOT step for each device, and repeats the request
// to the device until its owner has decided or OWNER_RETRIES requests were sent.
bool Attempt::WaitForOwners(const std::vector<Trial>& asked)
{
    struct Waiting {
        Trial trial;
        size_t step;
    };
    std::vector<Waiting> waiting;
    waiting.reserve(asked.size());
    for (const Trial& trial : asked) {
        waiting.push_back({trial, BeginStep(Kind::HOTSPOT, trial.named)});
    }
    for (int retry = 0; retry < OWNER_RETRIES && !waiting.empty() && !isOnline_; ++retry) {
        const auto due = std::make_shared<Cancellation>();
        const Tasks::Timer timer = options_.timers->RunAfter(OWNER_RETRY, [due] { due->Cancel(); });
        const Cancellation::Waker waker(env_.cancellation, [&due] { due->Cancel(); });
        (void)due->WaitUntil(Clock::System().Now() + std::chrono::hours(1));
        for (auto at = waiting.begin(); at != waiting.end() && !isOnline_ && !IsCancelled();) {
            Fault fault = OpenHotspot(at->trial, at->step);
            if (fault && fault->code == Code::OWNER_ASKED) {
                ++at;
                continue;
            }
            Waiting decided = std::move(*at);
            at = waiting.erase(at);
            fault = EndStep(decided.step, std::move(fault));
            if (fault) {
                GiveUp(decided.trial, *fault, Kind::HOTSPOT);
            } else {
                JoinAndCheck(decided.trial);
            }
        }
        if (IsCancelled()) {
            break;
        }
    }
    for (const Waiting& left : waiting) {
        const Fault cancelled = Cancelled(left.trial);
        EndStep(left.step, cancelled ? cancelled : MakeFault(Code::OWNER_ASKED, left.trial.named));
    }
    return isOnline_;
}

bool Attempt::IsStillOnline()
{
    const auto& wanted = task_.networkIds;
    const auto joined = options_.station->Joined();
    if (!joined || joined->attempt != before_->wifiAttempt ||
        (!wanted.empty() && std::find(wanted.begin(), wanted.end(), before_->networkId) == wanted.end())) {
        return false;
    }
    Trial trial = TrialOf(before_->networkId);
    trial.use = *before_;
    trial.joined = joined;
    if (const Fault fault = CheckNetwork(trial); !fault || IsCancelled()) {
        steps_ = task_.stepsBefore;
        env_.changed(steps_);
        end_.inUse = before_;
        isOnline_ = !fault;
        return true;
    } else if (task_.mode == OnlineMode::START && fault->code == Code::NO_INTERNET) {
        EndStep(BeginStep(Kind::ONLINE, trial.named), fault);
        Record(*fault, Kind::ONLINE);
        end_.inUse = before_;
        return true;
    } else {
        EndStep(BeginStep(Kind::ONLINE, trial.named), fault);
        Record(*fault, Kind::ONLINE);
        KeepUndoneChanges(Undo(options_, *std::exchange(before_, std::nullopt), env_.stop).undoneChanges);
        return false;
    }
}

AttemptEnd Attempt::Run()
{
    if (const Fault fault = CheckThisDevice()) {
        Record(*fault, Kind::FIND);
        return End();
    }
    if (before_ && IsStillOnline()) {
        return End();
    }
    const std::vector<Failure> failedBefore = failures_;
    for (const KnownDevice& device : Candidates()) {
        const bool hasFailed = std::any_of(failedBefore.begin(), failedBefore.end(), [&](const Failure& failure) {
            return failure.fault.networkId == device.networkId;
        });
        if (hasFailed || IsCancelled()) {
            continue;
        }
        if (const Fault fault = CheckThisDevice()) {
            Record(*fault, Kind::FIND);
            break;
        }
        Trial trial = TrialOf(device.networkId);
        if (Try(trial) || end_.inUse) {
            return End();
        }
    }
    if (task_.mode == OnlineMode::UP && !asked_.empty() && !IsCancelled() && !*env_.isAutomatic) {
        WaitForOwners(std::exchange(asked_, {}));
    }
    return End();
}

// Ends the use of the previous device (before_), unless that device is still in use. If another device is in use now,
// notifies the previous device. If no device is in use, and this device is still on the previous device's network,
// keeps that network. If this device has left that network, undoes the use of the previous device.
void Attempt::EndPreviousUse()
{
    if (!before_ || (end_.inUse && end_.inUse->networkId == before_->networkId)) {
        return;
    }
    if (end_.inUse) {
        (void)Release(options_, *before_, RELEASE_LIMIT, env_.stop);
        return;
    }
    if (IsOnNetworkOf(options_, *before_)) {
        end_.inUse = before_;
    } else {
        KeepUndoneChanges(Undo(options_, *before_, env_.stop).undoneChanges);
    }
}

AttemptEnd Attempt::End()
{
    EndPreviousUse();
    for (const Failure& failure : failures_) {
        if (failure.fault.code != Code::CANCELLED) {
            WriteOnlineFail(failure.fault.networkId, failure.step, failure.fault.code);
        }
    }
    if (isOnline_) {
        end_.undoneChanges.reset();
        return std::move(end_);
    }
    const auto farthest = std::max_element(failures_.begin(), failures_.end(),
                                           [](const Failure& a, const Failure& b) { return a.step < b.step; });
    end_.fault = farthest != failures_.end() ? farthest->fault : MakeFault(Code::CANCELLED);
    return std::move(end_);
}

}  // namespace Vexo::Host
