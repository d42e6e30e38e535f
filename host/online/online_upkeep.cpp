// The part of Online that works between attempts: loss of the connection, automatic mode, settings, and the stop.
#include <algorithm>
#include <utility>

#include "host/online/facts_round.h"
#include "host/online/online_events.h"
#include "host/online/online_faults.h"
#include "host/online/online_service.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

using Code = OnlineFaultCode;
using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Online"};
constexpr milliseconds STOP_LIMIT{500};

OnlineChange ChangeOf(const Result<void>& stored)
{
    if (stored) {
        return {};
    }
    OnlineFault fault = MakeFault(Code::FAILED);
    fault.message = "the setting could not be stored: " + stored.error().message;
    return {std::move(fault)};
}

}  // namespace

void OnlineService::Listen()
{
    options_.network->SetListener([weak = std::weak_ptr<OnlineService>(Self())] {
        if (const auto self = weak.lock()) {
            self->ReviewSoon();
        }
    });
    ReviewSoon();
}

// Called by the LeaseKeeper of the connection with the given number when this device has left the other device's
// network.
void OnlineService::OnLost(uint32_t number)
{
    MutexLock lock(mutex_);
    if (!connection_ || connection_->number != number || job_ != Job::NONE || stop_.IsCancelled()) {
        return;
    }
    const DeviceInUse device = connection_->device;
    connection_.reset();
    ResetAnswer(OnlinePhase::IDLE);
    auto_.OnLost();
    lock.Unlock();
    QuviewDFX::LogInfo(LABEL, "the network of \"%{public}s\" is gone", device.deviceName);
    WriteOnlineEnd(device.networkId, OnlineEnding::LOST);
    options_.suggestAddress(device.networkId, "");
    // If there is a newer join, a program may be using the same device again, so the device's hotspot must stay open.
    if (options_.wifi().attempt == device.wifiAttempt) {
        (void)Release(options_, device, RELEASE_LIMIT, &stop_);
    }
    ReviewSoon();
}

void OnlineService::ReviewSoon()
{
    const MutexLock lock(mutex_);
    if (isReviewPosted_ || stop_.IsCancelled()) {
        return;
    }
    isReviewPosted_ = reviews_.Post([weak = std::weak_ptr<OnlineService>(Self())] {
        if (const auto self = weak.lock()) {
            self->Review();
        }
    });
}

// Checks whether this device is still on the network, and lets automatic mode decide.
void OnlineService::Review()
{
    MutexLock lock(mutex_);
    isReviewPosted_ = false;
    const std::shared_ptr<LeaseKeeper> keeper =
        connection_ && job_ == Job::NONE ? connection_->keeper : std::shared_ptr<LeaseKeeper>();
    const bool isAutoOn = auto_.IsOn() && !stop_.IsCancelled();
    lock.Unlock();
    if (keeper) {
        keeper->Check();
    }
    if (!isAutoOn) {
        return;
    }
    const Network::NetworkSituation situation = options_.network->Situation();
    const bool hasCandidate = !options_.whyNoAccount() && !options_.devices().empty();
    lock.Lock();
    const SteadyTime now = options_.timers->BootNow();
    const AutoMode::Decision decision = auto_.Update(situation, hasCandidate, job_ != Job::NONE, now);
    reviewTimer_ = Tasks::Timer();
    if (decision.again && !stop_.IsCancelled()) {
        const auto delay = std::max(std::chrono::ceil<milliseconds>(*decision.again - now), milliseconds(1));
        reviewTimer_ = options_.timers->RunAfter(delay, [weak = std::weak_ptr<OnlineService>(Self())] {
            if (const auto self = weak.lock()) {
                self->ReviewSoon();
            }
        });
    }
    if (decision.act == AutoMode::Act::BRING_UP && !stop_.IsCancelled()) {
        StartAttempt({}, 0, true);
    }
    lock.Unlock();
    if (decision.act == AutoMode::Act::BRING_DOWN) {
        BringDown(std::nullopt, false);
    }
    if (decision.wantsScan) {
        options_.network->RequestScan();
    }
}

OnlineChange OnlineService::SetAuto(bool isOn)
{
    const Result<void> stored = memory_->SetAuto(isOn);
    if (stored) {
        MutexLock lock(mutex_);
        if (auto_.IsOn() != isOn) {
            auto_.Switch(isOn);
            reviewTimer_ = Tasks::Timer();
        }
        std::shared_ptr<Cancellation> cancellation;
        if (!isOn && isAutomatic_) {
            BeginCancelling(MakeFault(Code::CANCELLED, ": automatic mode was switched off"));
            cancellation = job_ == Job::ATTEMPT ? cancellation_ : nullptr;
        }
        lock.Unlock();
        if (cancellation) {
            cancellation->Cancel();
        }
        ReviewSoon();
    }
    return ChangeOf(stored);
}

OnlineChange OnlineService::SetPreferred(const std::vector<std::string>& networkIds)
{
    const std::vector<KnownDevice> known = options_.devices();
    for (const std::string& networkId : networkIds) {
        if (std::none_of(known.begin(), known.end(),
                         [&](const KnownDevice& device) { return device.networkId == networkId; })) {
            return {MakeFault(Code::UNKNOWN_DEVICE, FaultDevice{networkId, ""}, networkId)};
        }
    }
    return ChangeOf(memory_->SetPreferred(networkIds));
}

void OnlineService::RefreshFacts(milliseconds limit)
{
    std::vector<std::string> reachable;
    for (const KnownDevice& device : options_.devices()) {
        if (device.online) {
            reachable.push_back(device.networkId);
        }
    }
    AskForFacts(options_, memory_, reachable, limit);
}

void OnlineService::OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why)
{
    memory_->OnRefusedBy(networkId, why);
}

void OnlineService::Forget()
{
    memory_->Forget();
}

void OnlineService::Stop()
{
    options_.network->SetListener(nullptr);
    const bool wasStopped = stop_.IsCancelled();
    stop_.Cancel();
    MutexLock lock(mutex_);
    reviewTimer_ = Tasks::Timer();
    BeginCancelling(MakeFault(Code::CANCELLED, ": the daemon ended"));
    const auto cancellation = cancellation_;
    const std::optional<DeviceInUse> device = asked_        ? asked_
                                              : connection_ ? std::optional(connection_->device)
                                                            : std::nullopt;
    const auto keeper = connection_ ? connection_->keeper : nullptr;
    lock.Unlock();
    if (cancellation) {
        cancellation->Cancel();
    }
    if (keeper) {
        keeper->Stop();
    }
    if (device && !wasStopped) {
        (void)Release(options_, *device, STOP_LIMIT, nullptr);
    }
    lock.Lock();
    // An attempt that waits for the service cannot be interrupted. It ends later and begins no further step.
    (void)changed_.WaitFor(mutex_, STOP_LIMIT, [this]() REQUIRES(mutex_) { return job_ == Job::NONE; });
}

}  // namespace Vexo::Host
