// SimulatedNetwork: the NetworkMonitor of a simulated device. It reads the device's state and the air (air.h). Any
// thread may use it.
#pragma once

#include <functional>
#include <memory>

#include "backends/simulated/live_state.h"
#include "backends/simulated/simulated_wifi_device.h"
#include "platform/base/mutex.h"
#include "platform/network/network_monitor.h"
#include "platform/tasks/change_listener.h"

namespace Vexo::Simulated {

class SimulatedNetwork : public Network::NetworkMonitor {
public:
    SimulatedNetwork(std::shared_ptr<LiveState> live, sptr<SimulatedWifiDevice> station)
        : live_(std::move(live)), station_(std::move(station))
    {
    }

    Network::Uplink CurrentUplink() override;
    Network::Battery CurrentBattery() override;
    Network::NetworkSituation Situation() override;
    // A simulated scan finishes at once.
    void RequestScan() override { OnStateChanged(); }
    // If the joined hotspot has no record in the air, waits for the record until the deadline.
    Network::OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                       const std::function<bool()>& isCancelled) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // Call this after the device's state has changed. The call counts as a finished scan.
    void OnStateChanged();
    // Call this after this device has joined or left a hotspot.
    void OnStationChanged() { listener_.Notify(); }
    // Ends online checks that wait for a record. They return UNKNOWN.
    void Stop();

private:
    const std::shared_ptr<LiveState> live_;
    const sptr<SimulatedWifiDevice> station_;

    Mutex mutex_;
    CondVar stopping_;
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint32_t scan_ GUARDED_BY(mutex_) = 0;

    Tasks::ChangeListener listener_;  // own synchronisation
};

}  // namespace Vexo::Simulated
