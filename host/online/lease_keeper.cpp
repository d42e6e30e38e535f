#include "host/online/lease_keeper.h"

#include <utility>
#include <variant>

namespace Vexo::Host {

LeaseKeeper::LeaseKeeper(const OnlineOptions& options, DeviceInUse device, std::function<void()> lost)
    : options_(options), device_(std::move(device)), lost_(std::move(lost))
{
}

std::shared_ptr<LeaseKeeper> LeaseKeeper::Start(const OnlineOptions& options, DeviceInUse device,
                                                std::function<void()> lost)
{
    std::shared_ptr<LeaseKeeper> keeper(new LeaseKeeper(options, std::move(device), std::move(lost)));
    keeper->RenewAfter(std::chrono::milliseconds(1));
    return keeper;
}

void LeaseKeeper::RenewAfter(std::chrono::milliseconds delay)
{
    const MutexLock lock(mutex_);
    if (lost_) {
        timer_ = options_.timers->RunAfter(delay, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->Renew();
            }
        });
    }
}

void LeaseKeeper::Renew()
{
    Check();
    MutexLock lock(mutex_);
    if (!lost_) {
        return;
    }
    const bool isAsking = isAsking_;
    lock.Unlock();
    if (!isAsking) {
        RenewAfter(LEASE_RENEWAL);
        return;
    }
    const Result<PeerAnswer> answer = options_.peers->Ask(device_.networkId, LeaseRequest{device_.macAddress},
                                                          options_.timers->Now() + LEASE_ANSWER_LIMIT, &stopped_);
    const auto* lease = answer ? std::get_if<LeaseAnswer>(&answer.value()) : nullptr;
    const bool isHeld = lease != nullptr && lease->isHeld;
    lock.Lock();
    isAsking_ = !answer || isHeld;
    if (isHeld) {
        heldAt_ = options_.timers->BootNow();
    } else if (answer) {
        heldAt_.reset();
    }
    lock.Unlock();
    RenewAfter(answer ? LEASE_RENEWAL : LEASE_RETRY);
}

void LeaseKeeper::Check()
{
    if (IsOnNetworkOf(options_, device_)) {
        return;
    }
    std::function<void()> lost;
    {
        const MutexLock lock(mutex_);
        lost = std::exchange(lost_, nullptr);
        timer_ = Tasks::Timer();
    }
    if (lost) {
        lost();
    }
}

bool LeaseKeeper::IsHeld() const
{
    const MutexLock lock(mutex_);
    return lost_ && heldAt_ && options_.timers->BootNow() - *heldAt_ < LEASE_LIFE;
}

void LeaseKeeper::Stop()
{
    stopped_.Cancel();
    const MutexLock lock(mutex_);
    lost_ = nullptr;
    timer_ = Tasks::Timer();
}

}  // namespace Vexo::Host
