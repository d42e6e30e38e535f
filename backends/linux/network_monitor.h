// LinuxNetworkMonitor: the NetworkMonitor of a Linux machine. Each call of CurrentUplink, Situation and CheckOnline
// queries NetworkManager. CurrentUplink also queries ModemManager. The state of the battery comes from UPower's last
// report. Whether a person uses the machine comes from logind's last report. Any thread may use it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "backends/linux/bus.h"
#include "backends/linux/network_manager.h"
#include "backends/linux/telephony.h"
#include "backends/linux/wifi_device.h"
#include "platform/base/mutex.h"
#include "platform/network/network_monitor.h"
#include "platform/tasks/change_listener.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

class LinuxNetworkMonitor : public Network::NetworkMonitor {
public:
    // dnsPort: the port of the name servers that CheckOnline queries.
    LinuxNetworkMonitor(std::shared_ptr<Bus> bus, std::shared_ptr<Modems> modems, sptr<LinuxWifiDevice> station,
                        uint16_t dnsPort = 53);
    ~LinuxNetworkMonitor() override;

    Network::Uplink CurrentUplink() override;
    Network::Battery CurrentBattery() override;
    Network::NetworkSituation Situation() override;
    void RequestScan() override;
    Network::OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                       const std::function<bool()>& isCancelled) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // The next three functions receive the reports of UPower (power.h), logind (screen.h) and the station. They do not
    // block.
    void OnBattery(const Network::Battery& battery);
    void OnUseChanged(bool isInUse);
    void OnStationChanged() { listener_.Notify(); }
    // Ends the subscriptions to NetworkManager. Blocks until no handler of a subscription runs. A second call does
    // nothing.
    void Stop();

private:
    using IsCancelled = std::function<bool()>;

    // Returns the verdict of NetworkManager's own connectivity check. If the first answer of NetworkManager takes too
    // long, returns UNKNOWN.
    Network::OnlineVerdict CheckByNetworkManager(const std::string& interface, SteadyTime deadline,
                                                 const IsCancelled& isCancelled) const;
    Network::OnlineVerdict CheckByNameServers(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                              const IsCancelled& isCancelled) const;
    // Returns the connectivity that NetworkManager reports for the given interface. Returns nullopt if NetworkManager
    // does not answer in time, or if isCancelled returns true.
    std::optional<NmConnectivity> ReadConnectivity(const std::string& interface, SteadyTime deadline,
                                                   const IsCancelled& isCancelled) const;

    const std::shared_ptr<Modems> modems_;
    const sptr<LinuxWifiDevice> station_;
    const NetworkManager manager_;
    const uint16_t dnsPort_;

    Mutex mutex_;
    Network::Battery battery_ GUARDED_BY(mutex_);
    bool isInUse_ GUARDED_BY(mutex_) = false;

    Tasks::ChangeListener listener_;              // own synchronisation
    Tasks::Strand strand_;                        // own synchronisation
    std::vector<BusSubscription> subscriptions_;  // declared last, so destroyed first
};

}  // namespace Vexo::Linux
