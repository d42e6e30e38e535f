// RecordingListener: writes down what it is told, one word and its numbers a call. Any thread.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "distributed/services/converged/awareness/awareness_center_callback.h"

namespace Vexo::Tests {

class RecordingListener : public NetManagerStandard::AwarenessCenterCallback {
public:
    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner>) override
    {
        Record(isScreenOn ? "screen on" : "screen off");
    }
    void OnConnectivityChanged(int netType, int connState) override
    {
        Record("net " + std::to_string(netType) + " " + std::to_string(connState));
    }
    void OnBatteryLowChanged(bool isLow) override { Record(isLow ? "battery low" : "battery fine"); }

    // What was told since the last call.
    std::vector<std::string> Take()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(calls_, {});
    }

private:
    void Record(std::string call)
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back(std::move(call));
    }
    std::mutex mutex_;
    std::vector<std::string> calls_;
};

}  // namespace Vexo::Tests
