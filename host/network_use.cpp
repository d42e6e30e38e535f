#include "host/network_use.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <variant>

#include "host/online/online_faults.h"
#include "host/wifi_status.h"
#include "platform/ability/ability_ids.h"
#include "platform/base/clock.h"
#include "platform/dfx/log.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};

constexpr const char* UPLINK = "uplink";
// The first byte of the service's request to open the hotspot. The other messages of the service ask for nothing.
constexpr char START_HOTSPOT = 3;

// A visitor that serves a request of the device with the given network id.
struct Server {
    Sharing& sharing;
    const std::string& networkId;

    PeerAnswer operator()(const FactsRequest&) const { return sharing.FactsFor(networkId); }
    PeerAnswer operator()(const LeaseRequest& request) const { return sharing.OnLease(networkId, request); }
    PeerAnswer operator()(const ReleaseRequest& request) const { return sharing.OnRelease(networkId, request); }
};

}  // namespace

std::unique_ptr<NetworkUse> NetworkUse::Start(NetworkUseOptions options)
{
    std::unique_ptr<NetworkUse> use(new NetworkUse(std::move(options)));
    use->StartSharing();
    use->peers_ = PeerLink::Make([sharing = use->sharing_](const std::string& networkId, const PeerRequest& request) {
        return std::visit(Server{*sharing, networkId}, request);
    });
    use->StartOnline();
    return use;
}

void NetworkUse::StartSharing()
{
    Device* const device = options_.device;
    SharingOptions sharing;
    sharing.stateDir = options_.configuration.stateDir;
    sharing.settings = options_.configuration.sharing;
    sharing.share = &device->Share();
    sharing.network = &device->Network();
    sharing.obstacle = [this] { return Obstacle(); };
    sharing.nameOf = [link = options_.link](const std::string& networkId) { return link().NameOf(networkId); };
    sharing.asked = [device](const std::string& networkId, const std::string& name) {
        device->SignalShareRequest(networkId, name);
    };
    sharing_ = Sharing::Start(std::move(sharing));
}

void NetworkUse::StartOnline()
{
    Device* const device = options_.device;
    OnlineOptions online;
    online.stateDir = options_.configuration.stateDir;
    online.peers = peers_;
    online.station = &device->Station();
    online.network = &device->Network();
    const auto radio = [device] { return device->Radio(); };
    online.wifi = [radio] { return CurrentWifiStatus(radio); };
    online.waitForWifi = [radio](const WifiStatus& known, std::chrono::milliseconds limit) {
        return WaitForWifiStatus(known, limit, radio);
    };
    online.devices = [link = options_.link] { return link().Devices(); };
    online.whyNoAccount = [this] { return WhyNoAccount(); };
    online.askService = options_.askService;
    online.suggestAddress = [link = options_.link](const std::string& networkId, const std::string& ipAddress) {
        if (const LinkFacts facts = link(); facts.softBus) {
            facts.softBus->SuggestAddress(networkId, ipAddress);
        }
    };
    online_ = Online::Start(std::move(online));
}

SharingObstacle NetworkUse::Obstacle() const
{
    switch (options_.device->Radio()) {
        case RadioState::BLOCKED:
            return SharingObstacle::WIFI_BLOCKED;
        case RadioState::SWITCHED_OFF:
            return SharingObstacle::WIFI_OFF;
        case RadioState::ON:
        case RadioState::ABSENT:  // the station has no radio; the hotspot may have its own
            break;
    }
    return Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 0) ? SharingObstacle::NONE
                                                                          : SharingObstacle::NO_HOTSPOT;
}

std::optional<OnlineFault> NetworkUse::WhyNoAccount() const
{
    const LinkFacts link = options_.link();
    if (link.removedAt) {
        return MakeFault(OnlineFaultCode::REMOVED, " on " + DateOf(*link.removedAt));
    }
    return link.softBus ? std::nullopt : std::optional(MakeFault(OnlineFaultCode::NO_ACCOUNT));
}

QuviewDFX::HealthCheck NetworkUse::CheckUplink() const
{
    using Kind = Network::Uplink::Kind;
    const Network::Uplink uplink = options_.device->Network().CurrentUplink();
    const std::string what = uplink.kind == Kind::WIRE   ? "wire"
                             : uplink.kind == Kind::WIFI ? "Wi-Fi"
                             : uplink.technology.empty() ? "mobile data"
                                                         : uplink.technology;
    if (uplink.kind == Kind::NONE && uplink.isMobileDataOff) {
        return QuviewDFX::NotChecked(UPLINK, "nothing to share: mobile data is switched off", "Switch mobile data on");
    }
    if (uplink.kind == Kind::NONE) {
        return QuviewDFX::NotChecked(UPLINK, "nothing to share: this device has no network that others could use");
    }
    if (uplink.hasInternet == false) {
        return QuviewDFX::NotChecked(UPLINK, "nothing to share: its " + what + " has no internet");
    }
    return QuviewDFX::Healthy(UPLINK, "other devices can use its " + what);
}

SoftBus::PeerRefusal NetworkUse::Admit(const std::string& networkId)
{
    return sharing_->Admit(networkId);
}

bool NetworkUse::IsRequest(std::string_view message) const
{
    return message.starts_with(START_HOTSPOT);
}

void NetworkUse::OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why)
{
    online_->OnRefusedBy(networkId, why);
}

void NetworkUse::OnLinkStarted()
{
    if (const Result<void> begun = peers_->Begin(); !begun) {
        QuviewDFX::LogError(LABEL, "cannot exchange requests with other daemons: %{public}s", begun.error().message);
    }
}

void NetworkUse::OnLinkStopping()
{
    peers_->End();
}

void NetworkUse::OnAccountLeft()
{
    online_->Forget();
    for (const ShareRule& rule : sharing_->Status().rules) {
        sharing_->OnMemberRemoved(rule.networkId);
    }
}

void NetworkUse::OnStateUsed(const Trust::AccountState& state)
{
    for (const Trust::RemovedKey& removed : state.removed) {
        sharing_->OnMemberRemoved(removed.networkId);
    }
}

void NetworkUse::OnProcessGone(pid_t process)
{
    online_->OnProcessGone(process);
}

void NetworkUse::Stop()
{
    online_->Stop();
    sharing_->Stop();
}

}  // namespace Vexo::Host
