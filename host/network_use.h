// NetworkUse: creates and connects the objects that use other devices' networks (online/online.h), share this device's
// network (sharing/sharing.h) and talk to the daemons of other devices (peers/peer_link.h). NetworkUse is also the soft
// bus's PeerPolicy, which decides whether another device may use the service. The daemon creates one NetworkUse and
// never destroys it. Any thread may use it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
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
    Device* device = nullptr;  // must outlive the NetworkUse object
    std::function<LinkFacts()> link;
    AskService askService;
};

class NetworkUse : public SoftBus::PeerPolicy {
public:
    // Creates the object. Blocks on the disk. Calls the functions in options on other threads, also before it returns.
    static std::unique_ptr<NetworkUse> Start(NetworkUseOptions options);

    const std::shared_ptr<Online>& GetOnline() const { return online_; }
    const std::shared_ptr<Sharing>& GetSharing() const { return sharing_; }

    SoftBus::PeerRefusal Admit(const std::string& networkId) override;
    bool IsRequest(std::string_view message) const override;
    void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) override;

    // Returns the check of `distnetctl doctor` that says which of this device's networks other devices could use.
    // Blocks for at most 1 s, until the machine's daemons answer.
    QuviewDFX::HealthCheck CheckUplink() const;

    // Call OnLinkStarted after the soft bus was registered, OnLinkStopping before it stops, OnAccountLeft after this
    // device has left its account, and OnStateUsed with each new state of the account.
    void OnLinkStarted();
    void OnLinkStopping();
    void OnAccountLeft();
    void OnStateUsed(const Trust::AccountState& state);
    // Call when the last connection of the given process has closed. Cancels the process's attempt.
    void OnProcessGone(pid_t process);
    // Cancels the running attempt, notifies the device whose network is in use, and stops sharing. Blocks for about 1 s
    // at most.
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
