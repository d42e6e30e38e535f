// The part of Online that runs attempts and `distnetctl down`. online_upkeep.cpp has the other part.
#include "host/online/online.h"

#include <algorithm>
#include <utility>

#include "host/online/online_events.h"
#include "host/online/online_faults.h"
#include "host/online/online_service.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {
namespace {

using Code = OnlineFaultCode;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

}  // namespace

std::shared_ptr<Online> Online::Start(OnlineOptions options)
{
    const auto online = std::make_shared<OnlineService>(std::move(options));
    online->Listen();
    return online;
}

OnlineService::OnlineService(OnlineOptions options)
    : options_(std::move(options)), memory_(std::make_shared<OnlineMemory>(options_.stateDir, *options_.timers))
{
    const MutexLock lock(mutex_);
    auto_.Switch(memory_->Record().isAutoOn);
}

std::chrono::sys_seconds OnlineService::Now() const
{
    return std::chrono::floor<std::chrono::seconds>(options_.timers->WallNow());
}

void OnlineService::Changed()
{
    ++answer_.revision;
    changed_.NotifyAll();
}

void OnlineService::ResetAnswer(OnlinePhase phase)
{
    const uint32_t revision = answer_.revision;
    answer_ = OnlineAnswer();
    answer_.revision = revision;
    answer_.phase = phase;
    Changed();
}

// ---- Answers to programs

OnlineAnswer OnlineService::Latest() const
{
    OnlineAnswer answer = answer_;
    if (!answer.steps.empty() && answer.steps.back().state == OnlineStepState::RUNNING) {
        answer.steps.back().took = duration_cast<milliseconds>(options_.timers->Now() - stepBegan_);
    }
    return answer;
}

OnlineAnswer OnlineService::AnswerOf(pid_t owner) const
{
    return owner == owner_ ? Latest() : OnlineAnswer{};
}

void OnlineService::WaitForChange(pid_t owner, uint32_t revision, milliseconds limit,
                                  IDistNetHost::Answer<OnlineAnswer> answer)
{
    const auto read = [self = Self(), owner]() NO_THREAD_SAFETY_ANALYSIS { return self->AnswerOf(owner); };
    waits_->AddForRevision<OnlineAnswer>(
        {&mutex_, &changed_, read}, revision, limit,
        [answer = std::move(answer)](const OnlineAnswer& now) { answer(HOST_OK, now); });
}

OnlineStatus OnlineService::Status()
{
    OnlineStatus status;
    status.preferred = memory_->Record().preferred;
    status.facts = memory_->AllFacts();
    const MutexLock lock(mutex_);
    status.attempt = Latest();
    if (connection_) {
        status.hasLease = connection_->keeper && connection_->keeper->IsHeld();
        status.since = connection_->since;
    }
    status.automatic = {auto_.IsOn(), auto_.State(), std::nullopt};
    if (const auto until = auto_.Until()) {
        const auto left = duration_cast<std::chrono::seconds>(*until - options_.timers->BootNow());
        status.automatic.until = Now() + std::max(left, std::chrono::seconds(0));
    }
    return status;
}

// ---- Running an attempt

OnlineFault OnlineService::WhyBusy() const
{
    if (job_ == Job::DOWN) {
        OnlineFault fault = MakeFault(Code::BUSY);
        fault.message = "this device is leaving the network of another device just now";
        fault.advice = "Try again in some seconds";
        return fault;
    }
    const std::string who = isAutomatic_ ? ": automatic mode" : ": process " + std::to_string(owner_);
    return MakeFault(Code::BUSY, who + (answer_.steps.empty() ? "" : " tries " + answer_.steps.back().deviceName));
}

OnlineAnswer OnlineService::Begin(pid_t owner, OnlineMode mode, const std::vector<std::string>& networkIds)
{
    const MutexLock lock(mutex_);
    if (job_ == Job::ATTEMPT && isAutomatic_ && mode == OnlineMode::UP && networkIds.empty() &&
        answer_.phase == OnlinePhase::RUNNING) {
        // Automatic mode already runs the attempt that the program requests, so this attempt now belongs to the
        // program.
        owner_ = owner;
        isAutomatic_ = false;
        answer_.isAutomatic = false;
        Changed();
        return Latest();
    }
    if (job_ != Job::NONE || stop_.IsCancelled()) {
        OnlineAnswer refused;
        refused.phase = OnlinePhase::FAILED;
        refused.fault = job_ != Job::NONE ? WhyBusy() : MakeFault(Code::FAILED, ": the daemon ends");
        return refused;
    }
    StartAttempt({mode, networkIds, std::nullopt, {}}, owner, false);
    return Latest();
}

void OnlineService::StartAttempt(AttemptTask task, pid_t owner, bool isAutomatic)
{
    if (connection_) {
        task.before = connection_->device;
        task.stepsBefore = connection_->steps;
        connection_->keeper->Stop();
    }
    job_ = Job::ATTEMPT;
    owner_ = owner;
    isAutomatic_ = isAutomatic;
    cancellation_ = std::make_shared<Cancellation>();
    whyCancelled_.reset();
    isDecided_ = false;
    ResetAnswer(OnlinePhase::RUNNING);
    answer_.isAutomatic = isAutomatic;
    const bool isPosted = Tasks::ElasticPool::Shared().Post(
        [self = Self(), task, cancellation = cancellation_] { self->RunAttempt(task, *cancellation); });
    if (!isPosted) {
        job_ = Job::NONE;
        answer_.phase = OnlinePhase::FAILED;
        answer_.fault = MakeFault(Code::FAILED, ": the daemon has no thread left");
        Changed();
    }
}

void OnlineService::RunAttempt(const AttemptTask& task, Cancellation& cancellation)
{
    Attempt::Environment environment;
    environment.options = options_;
    environment.memory = memory_;
    environment.cancellation = &cancellation;
    environment.stop = &stop_;
    environment.isAutomatic = &isAutomatic_;
    environment.changed = [this](const std::vector<OnlineStep>& steps) {
        const MutexLock lock(mutex_);
        if (steps.size() > answer_.steps.size()) {
            stepBegan_ = options_.timers->Now();
        }
        answer_.steps = steps;
        Changed();
    };
    environment.asked = [this](const DeviceInUse& device) {
        const MutexLock lock(mutex_);
        asked_ = device;
    };
    FinishAttempt(Attempt(std::move(environment), task).Run());
}

// Decides by the attempt's phase whether the attempt succeeded, failed or was cancelled, and publishes the result.
// Writes the events before the result becomes visible, so that events of the next job come later in the log.
void OnlineService::FinishAttempt(AttemptEnd end)
{
    MutexLock lock(mutex_);
    isDecided_ = true;
    const bool isCancelled = answer_.phase == OnlinePhase::CANCELLING;
    const bool isOnline = !isCancelled && !end.fault;
    lock.Unlock();
    if (isCancelled && end.inUse && end.isNew) {
        end.undoneChanges = Undo(options_, *end.inUse, &stop_).undoneChanges;
        end.inUse.reset();
    }
    if (isOnline) {
        memory_->OnSuccess(end.inUse->networkId);
        WriteOnlineSuccess(end.inUse->networkId);
    } else if (isCancelled && end.undoneChanges) {
        WriteOnlineEnd(end.undoneChanges->networkId, OnlineEnding::CANCELLED);
    }
    lock.Lock();
    if (!end.inUse || end.isNew) {
        connection_.reset();
    }
    if (end.inUse && !stop_.IsCancelled()) {
        Connect(*end.inUse, end.isNew);
    }
    SetOutcome(end);
    Changed();
    asked_.reset();
    OnAttemptEnded(isOnline, isCancelled);
    Answers answers;
    for (auto& [owner, answer] : std::exchange(cancelAnswers_, {})) {
        answers.push_back([answer = std::move(answer), now = AnswerOf(owner)] { answer(HOST_OK, now); });
    }
    job_ = Job::NONE;
    if (isDownWanted_) {
        undoneForDown_ = isOnline ? std::nullopt : std::optional(end.undoneChanges.value_or(UndoneChanges{}));
        StartDown();
    }
    changed_.NotifyAll();
    lock.Unlock();
    for (const auto& answer : answers) {
        answer();
    }
    ReviewSoon();
}

// Updates automatic mode. auto_ stays in state TRYING if a program takes over automatic mode's attempt, so auto_ also
// receives the result of such an attempt.
void OnlineService::OnAttemptEnded(bool isOnline, bool isCancelled)
{
    const SteadyTime now = options_.timers->BootNow();
    if (auto_.State() == AutoState::TRYING) {
        auto_.OnAttemptEnded(isOnline, now);
        if (isCancelled) {
            auto_.OnDownByPerson(now);
        }
    }
    if (isOnline && !isAutomatic_) {
        auto_.OnOnlineByProgram();
    }
}

void OnlineService::SetOutcome(AttemptEnd& end)
{
    answer_.undoneChanges = end.undoneChanges;
    if (end.inUse) {
        answer_.networkId = end.inUse->networkId;
        answer_.deviceName = end.inUse->deviceName;
        answer_.facts = end.inUse->facts;
    }
    if (answer_.phase == OnlinePhase::CANCELLING) {
        answer_.phase = OnlinePhase::CANCELLED;
        answer_.fault = whyCancelled_;
    } else if (end.fault) {
        answer_.phase = OnlinePhase::FAILED;
        answer_.fault = end.fault;
    } else {
        answer_.phase = OnlinePhase::ONLINE;
    }
}

void OnlineService::Connect(const DeviceInUse& device, bool isNew)
{
    const uint32_t number = ++connections_;
    if (isNew || !connection_) {
        connection_ = Connection{device, answer_.steps, Now(), number};
    }
    connection_->number = number;
    connection_->keeper = LeaseKeeper::Start(options_, device, [weak = std::weak_ptr<OnlineService>(Self()), number] {
        if (const auto self = weak.lock()) {
            self->OnLost(number);
        }
    });
}

// ---- Cancelling and `distnetctl down`

void OnlineService::BeginCancelling(OnlineFault why)
{
    if (job_ == Job::ATTEMPT && answer_.phase == OnlinePhase::RUNNING && !isDecided_) {
        answer_.phase = OnlinePhase::CANCELLING;
        whyCancelled_ = std::move(why);
        Changed();
    }
}

void OnlineService::Cancel(pid_t owner, bool wasTimeout, IDistNetHost::Answer<OnlineAnswer> answer)
{
    MutexLock lock(mutex_);
    if (job_ != Job::ATTEMPT || owner != owner_) {
        const OnlineAnswer now = AnswerOf(owner);
        lock.Unlock();
        answer(HOST_OK, now);
        return;
    }
    BeginCancelling(MakeFault(wasTimeout ? Code::TIMED_OUT : Code::CANCELLED));
    cancelAnswers_.emplace_back(owner, std::move(answer));
    const auto cancellation = cancellation_;
    lock.Unlock();
    cancellation->Cancel();
}

void OnlineService::OnProcessGone(pid_t process)
{
    MutexLock lock(mutex_);
    if (job_ != Job::ATTEMPT || process != owner_ || isAutomatic_) {
        return;
    }
    BeginCancelling(MakeFault(Code::CANCELLED, ": the program that began it has ended"));
    const auto cancellation = cancellation_;
    lock.Unlock();
    cancellation->Cancel();
}

void OnlineService::Down(IDistNetHost::Answer<DownAnswer> answer)
{
    BringDown(std::move(answer), true);
}

void OnlineService::BringDown(std::optional<IDistNetHost::Answer<DownAnswer>> answer, bool isByPerson)
{
    MutexLock lock(mutex_);
    if (answer) {
        downAnswers_.push_back(*std::move(answer));
    }
    if (isByPerson) {
        auto_.OnDownByPerson(options_.timers->BootNow());
    }
    isDownWanted_ = isDownWanted_ || job_ != Job::DOWN;
    if (job_ == Job::NONE) {
        StartDown();
    }
    if (job_ != Job::ATTEMPT) {
        return;
    }
    BeginCancelling(MakeFault(Code::CANCELLED, " by `distnetctl down`"));
    const auto cancellation = cancellation_;
    lock.Unlock();
    cancellation->Cancel();
}

void OnlineService::StartDown()
{
    isDownWanted_ = false;
    job_ = Job::DOWN;
    if (!Tasks::ElasticPool::Shared().Post([self = Self()] { self->RunDown(); })) {
        job_ = Job::NONE;  // RunDown did not start; the waiting answers are sent after the next job
    }
}

void OnlineService::RunDown()
{
    const DownAnswer done = LeaveNetwork();
    if (done.result == DownResult::DONE && !done.undoneChanges.networkId.empty()) {
        WriteOnlineEnd(done.undoneChanges.networkId, OnlineEnding::DOWN);
    }
    MutexLock lock(mutex_);
    job_ = Job::NONE;
    const auto answers = std::exchange(downAnswers_, {});
    changed_.NotifyAll();
    lock.Unlock();
    for (const auto& answer : answers) {
        answer(HOST_OK, done);
    }
    ReviewSoon();
}

DownAnswer OnlineService::LeaveNetwork()
{
    MutexLock lock(mutex_);
    const std::optional<Connection> connection = std::exchange(connection_, std::nullopt);
    const std::optional<UndoneChanges> undone = std::exchange(undoneForDown_, std::nullopt);
    DownAnswer done{undone ? DownResult::DONE : DownResult::NOT_JOINED, undone.value_or(UndoneChanges{}), std::nullopt};
    lock.Unlock();
    if (connection) {
        connection->keeper->Stop();
        Undone now = Undo(options_, connection->device, &stop_);
        done = {DownResult::DONE, std::move(now.undoneChanges), std::move(now.fault)};
    } else if (const WifiStatus wifi = options_.wifi();
               !undone && (wifi.state == WifiState::CONNECTING || wifi.state == WifiState::CONNECTED)) {
        // A program sent its request directly to the service, so the daemon does not know whose network this device has
        // joined.
        done.result = DownResult::DONE;
        const Result<Wifi::LeftNetwork> left = options_.station->Leave(wifi.attempt, LEAVE_LIMIT);
        if (left) {
            done.undoneChanges.hasLeftWifi = left.value().hasLeft;
            done.undoneChanges.backOn = left.value().backOn;
        } else {
            done.fault = MakeFault(Code::FAILED);
            done.fault->message = "this device has not left the network: " + left.error().message;
        }
    }
    lock.Lock();
    if (connection && !undone) {
        ResetAnswer(OnlinePhase::IDLE);
    } else if (connection) {
        answer_.networkId.clear();
        answer_.deviceName.clear();
        answer_.facts.reset();
    }
    Changed();
    return done;
}

}  // namespace Vexo::Host
