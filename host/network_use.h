// NetworkUse: how this device uses the networks of other devices (online/online.h) and others use its own
// (sharing/sharing.h), and what connects both with the other daemons (peers/peer_link.h) and with the soft bus, which
// asks here whether a device may use this one. The daemon makes one and never destroys it. Any thread.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/account_link.h"
#include "host/configuration.h"
#include "host/device.h"
#include "host/online/online.h"
#include "host/peers/peer_link.h"
#include "host/sharing/sharing.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/health_check.h"
#include "platform/softbus/peer_policy.h"
#include "platform/trust/account_state.h"

namespace Vexo::Host {

struct NetworkUseOptions {
    Configuration configuration;
    Device* device = nullptr;  // outlives the object
    std::function<LinkFacts()> link;
    AskService askService;
};

class NetworkUse : public SoftBus::PeerPolicy {
public:
    // Blocks on the disk. The functions of the options are not called before OnLinkStarted.
    static std::unique_ptr<NetworkUse> Start(NetworkUseOptions options);

    const std::shared_ptr<Online>& GetOnline() const { return online_; }
    const std::shared_ptr<Sharing>& GetSharing() const { return sharing_; }

    SoftBus::PeerRefusal Admit(const std::string& networkId) override;
    void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) override;

    // For `distnetctl doctor`: what others could use of this device's networks. Blocks for the machine's daemons, at
    // most 1 s.
    QuviewDFX::HealthCheck CheckUplink() const;

    // The soft bus was registered; is about to end; is about to end because this device has left its account.
    void OnLinkStarted();
    void OnLinkStopping();
    void OnAccountLeft();
    void OnStateUsed(const Trust::AccountState& state);
    // Call when the last connection of that process has closed.
    void OnProcessGone(pid_t process);
    // Ends the attempt under way, and the use of another device's network, which is told. Blocks, at most about 1 s.
    void Stop();

private:
    explicit NetworkUse(NetworkUseOptions options) : options_(std::move(options)) {}
    void StartSharing();
    void StartOnline();
    SharingObstacle Obstacle() const;
    std::optional<OnlineFault> WhyNoAccount() const;

    const NetworkUseOptions options_;
    std::shared_ptr<PeerLink> peers_;
    std::shared_ptr<Sharing> sharing_;
    std::shared_ptr<Online> online_;
};

}  // namespace Vexo::Host
