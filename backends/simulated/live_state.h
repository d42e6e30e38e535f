// LiveState: the current state of a simulated device. All abilities of the device share this object. LiveState also
// applies the injected faults. Any thread may use it.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "backends/simulated/device_state.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Simulated {

inline constexpr std::chrono::seconds NO_ANSWER_LIMIT{10};

class LiveState : public NoCopyable {
public:
    explicit LiveState(std::chrono::milliseconds noAnswerLimit = NO_ANSWER_LIMIT) : noAnswerLimit_(noAnswerLimit) {}

    std::shared_ptr<const DeviceState> Get() const;
    void Replace(const DeviceState& state);

    // Whether this device has joined a hotspot.
    bool IsJoined() const { return isJoined_; }
    void SetJoined(bool isJoined) { isJoined_ = isJoined; }

    // Applies the fault that is injected for the given call. Every simulated platform call calls ApplyFault before its
    // own work, with no lock held. Blocks for the delay of the fault, which may exceed the call's time budget
    // (wifi_budgets.h).
    // Returns the code that the call must return at once, or 0 if the call must continue. noAnswerCode: the interface's
    // code for a radio that does not answer. If the device has stopped or stops during the delay, ApplyFault returns
    // noAnswerCode at once.
    int32_t ApplyFault(PlatformCall call, int32_t noAnswerCode);

    // After Stop, ApplyFault returns noAnswerCode for every call. Does not block.
    void Stop();

private:
    const std::chrono::milliseconds noAnswerLimit_;

    std::atomic<bool> isJoined_{false};
    mutable Mutex mutex_;
    CondVar stopping_;
    std::shared_ptr<const DeviceState> state_ GUARDED_BY(mutex_) = std::make_shared<const DeviceState>();
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Simulated
