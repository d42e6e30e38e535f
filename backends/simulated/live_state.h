// LiveState: the state that a simulated device is in now, shared by its abilities, and the one place where an injected
// fault takes effect. Any thread.
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

    // To be called first by every platform call, with no lock held. Nothing else in a simulated call takes time; a
    // fault may exceed the call's budget (wifi_budgets.h), as a radio that breaks its promise. Blocks as long as the
    // call's fault says, and returns what the call must return, or 0 when it goes on. noAnswerCode: the interface's own
    // code for a silent radio; also what a call gets once the device has stopped, which cuts waits short.
    int32_t ApplyFault(PlatformCall call, int32_t noAnswerCode);

    // Every call fails from now on. Does not block.
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
