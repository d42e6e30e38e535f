#include "host/online/cancellation.h"

#include <utility>

namespace Vexo::Host {

void Cancellation::Cancel()
{
    const MutexLock lock(mutex_);
    if (!isCancelled_.exchange(true)) {
        cancelled_.NotifyAll();
        for (const std::function<void()>& wake : wakers_) {
            wake();
        }
    }
}

bool Cancellation::WaitUntil(SteadyTime time)
{
    const MutexLock lock(mutex_);
    while (!isCancelled_ && cancelled_.WaitUntil(mutex_, time)) {
    }
    return isCancelled_;
}

Cancellation::Waker::Waker(Cancellation* cancellation, std::function<void()> wake) : cancellation_(cancellation)
{
    if (cancellation_ == nullptr) {
        return;
    }
    const MutexLock lock(cancellation_->mutex_);
    place_ = cancellation_->wakers_.insert(cancellation_->wakers_.end(), std::move(wake));
    if (cancellation_->isCancelled_) {
        (*place_)();
    }
}

Cancellation::Waker::~Waker()
{
    if (cancellation_ != nullptr) {
        const MutexLock lock(cancellation_->mutex_);
        cancellation_->wakers_.erase(place_);
    }
}

}  // namespace Vexo::Host
