// SimulatedNetwork: what a simulated device knows about its networks, by its state file and the air. Any thread.
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
    // The scan finishes at once.
    void RequestScan() override { OnStateChanged(); }
    // Without a record of the hotspot it waits for one until the deadline.
    Network::OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                       const std::function<bool()>& isCancelled) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // To be called after the live state changed, which counts as a finished scan.
    void OnStateChanged();
    // To be called after this device joined or left a hotspot.
    void OnStationChanged() { listener_.Notify(); }
    // Ends checks: their verdict is UNKNOWN.
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
