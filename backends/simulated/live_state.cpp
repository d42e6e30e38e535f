#include "backends/simulated/live_state.h"

namespace Vexo::Simulated {

std::shared_ptr<const DeviceState> LiveState::Get() const
{
    MutexLock lock(mutex_);
    return state_;
}

void LiveState::Replace(const DeviceState& state)
{
    auto next = std::make_shared<const DeviceState>(state);
    MutexLock lock(mutex_);
    state_ = std::move(next);
}

int32_t LiveState::ApplyFault(PlatformCall call, int32_t noAnswerCode)
{
    MutexLock lock(mutex_);
    const Fault fault = state_->FaultOf(call);
    const std::chrono::milliseconds wait = fault.noAnswer ? noAnswerLimit_ : fault.delay;
    // Without a delay, WaitFor is not called: even a wait of zero sleeps for the timer slack of the thread (50 us).
    if (wait.count() > 0) {
        stopping_.WaitFor(mutex_, wait, [this]() REQUIRES(mutex_) { return stopped_; });
    }
    if (stopped_) {
        return noAnswerCode;
    }
    return fault.noAnswer ? noAnswerCode : fault.code;
}

void LiveState::Stop()
{
    MutexLock lock(mutex_);
    stopped_ = true;
    stopping_.NotifyAll();
}

}  // namespace Vexo::Simulated
