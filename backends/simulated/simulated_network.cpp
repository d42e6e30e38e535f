#include "backends/simulated/simulated_network.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "backends/simulated/uplink.h"

namespace Vexo::Simulated {
namespace {

using Network::NetworkSituation;
using Network::OnlineVerdict;

constexpr std::chrono::milliseconds CHECK_PERIOD{100};

}  // namespace

Network::Uplink SimulatedNetwork::CurrentUplink()
{
    return UplinkOf(*live_->Get(), live_->IsJoined());
}

Network::Battery SimulatedNetwork::CurrentBattery()
{
    const std::shared_ptr<const DeviceState> state = live_->Get();
    return {state->batteryPercent, state->batteryCharging};
}

NetworkSituation SimulatedNetwork::Situation()
{
    const std::shared_ptr<const DeviceState> state = live_->Get();
    NetworkSituation situation;
    situation.isJoinedHere = station_->Joined().has_value();
    situation.hasNetwork = situation.isJoinedHere || state->hasOwnWire || IsOnOwnWifi(*state, situation.isJoinedHere);
    situation.hasOwnWire = state->hasOwnWire;
    situation.isSessionActive = state->sessionActive;
    situation.wasDisconnectedByUser = state->leftByHand && !situation.isJoinedHere;
    {
        const MutexLock lock(mutex_);
        situation.scan = scan_;
    }
    if (state->wifiEnabled && state->stationPresent) {
        for (const NetworkInReach& network : state->inReach) {
            situation.inReach.push_back({network.name, network.strengthPercent});
        }
    }
    std::stable_sort(situation.inReach.begin(), situation.inReach.end(),
                     [](const auto& one, const auto& other) { return one.strengthPercent > other.strengthPercent; });
    return situation;
}

OnlineVerdict SimulatedNetwork::CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                            const std::function<bool()>& isCancelled)
{
    const auto isOver = [&] { return std::chrono::steady_clock::now() >= deadline || isCancelled(); };
    while (live_->Get()->onlineCheck == OnlineCheck::AIR && !isOver()) {
        if (const std::optional<AirRecord> hotspot = station_->JoinedHotspot(network.attempt)) {
            return hotspot->hasInternet ? OnlineVerdict::ONLINE : OnlineVerdict::NO_INTERNET;
        }
        const MutexLock lock(mutex_);
        if (stopping_.WaitFor(mutex_, CHECK_PERIOD, [this]() REQUIRES(mutex_) { return stopped_; })) {
            break;
        }
    }
    return OnlineVerdict::UNKNOWN;
}

void SimulatedNetwork::OnStateChanged()
{
    {
        const MutexLock lock(mutex_);
        ++scan_;
    }
    listener_.Notify();
}

void SimulatedNetwork::Stop()
{
    const MutexLock lock(mutex_);
    stopped_ = true;
    stopping_.NotifyAll();
}

}  // namespace Vexo::Simulated
