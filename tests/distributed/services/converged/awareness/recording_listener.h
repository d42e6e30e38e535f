// RecordingListener: a trail of what it is told, one word and its numbers a call. Any thread.
#pragma once

#include <memory>
#include <string>

#include "distributed/services/converged/awareness/awareness_center_callback.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class RecordingListener : public NetManagerStandard::AwarenessCenterCallback, public Trail<std::string> {
public:
    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner>) override
    {
        Add(isScreenOn ? "screen on" : "screen off");
    }
    void OnConnectivityChanged(int netType, int connState) override
    {
        Add("net " + std::to_string(netType) + " " + std::to_string(connState));
    }
    void OnBatteryLowChanged(bool isLow) override { Add(isLow ? "battery low" : "battery fine"); }
};

}  // namespace Vexo::Tests
