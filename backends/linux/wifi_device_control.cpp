// The StationControl functions of LinuxWifiDevice, which report the joined network and leave it.
#include <utility>

#include "backends/linux/wifi_device.h"
#include "platform/base/awaited.h"

namespace Vexo::Linux {
namespace {

constexpr std::chrono::seconds READ_LIMIT{1};

}  // namespace

std::optional<Wifi::JoinedNetwork> LinuxWifiDevice::Joined()
{
    const Wifi::Station::Join join = station_.Current();
    Connected connected;
    {
        const MutexLock lock(mutex_);
        if (join.state != Wifi::Station::State::CONNECTED || !connected_ ||
            connected_->network.attempt != join.attempt) {
            return std::nullopt;
        }
        connected = *connected_;
    }
    const NetworkManager manager = context_->manager.Until(context_->timers.Now() + READ_LIMIT);
    Wifi::JoinedNetwork& network = connected.network;
    if (Result<Ip4Lease> lease = manager.LeaseOf(connected.radio); lease && !lease.value().address.empty()) {
        network.address = std::move(lease.value().address);
        network.gateway = std::move(lease.value().gateway);
        network.nameServers = std::move(lease.value().nameServers);
    }
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    for (const WifiRadio& radio : radios ? radios.value() : std::vector<WifiRadio>()) {
        if (radio.path == connected.radio) {
            network.macAddress = radio.macAddress;
        }
    }
    return network;
}

Result<Wifi::LeftNetwork> LinuxWifiDevice::Leave(uint32_t attempt, std::chrono::milliseconds limit)
{
    const SteadyTime deadline = context_->timers.Now() + limit;
    const auto departure = std::make_shared<Awaited<Departure>>();
    // The work is not dropped at the time limit, because the network must be left even if the caller has stopped
    // waiting.
    context_->strand.Post(
        [self = sptr<LinuxWifiDevice>(this), attempt, departure] { departure->Set(self->LeaveNow(attempt)); });
    const std::optional<Departure> done = departure->WaitFor(limit);
    if (!done || !done->freed.isDone) {
        return Fail(ErrorCode::UNAVAILABLE, "NetworkManager does not answer: the network is left later");
    }
    Wifi::LeftNetwork left{done->hasLeft, ""};
    if (done->freed.activation.empty()) {
        const Result<NetworkOverview> overview = context_->manager.Until(deadline).Overview();
        left.backOn = overview ? UsersNetwork(overview.value().primary, deadline) : "";
    } else if (context_->WaitFor(done->freed.activation, ActivationState::ACTIVATED, deadline)) {
        left.backOn = UsersNetwork(done->freed.activation, deadline);
    }
    return left;
}

LinuxWifiDevice::Departure LinuxWifiDevice::LeaveNow(uint32_t attempt)
{
    const Wifi::Station::Join join = station_.Current();
    if (!attempt_ || join.attempt != attempt || !join.IsUnderWay()) {
        return {};
    }
    return {true, End({Wifi::JoinFailure::ENDED_HERE, "disconnected on request"})};
}

std::string LinuxWifiDevice::UsersNetwork(const std::string& activation, SteadyTime deadline) const
{
    if (activation.empty()) {
        return "";
    }
    const NetworkManager manager = context_->manager.Until(deadline);
    const Result<Connection> connection = manager.ReadConnection(activation);
    const Result<Profile> profile =
        connection.and_then([&](const Connection& found) { return manager.ReadProfile(found.profile); });
    return profile && !IsOurs(profile.value()) ? connection.value().name : "";
}

}  // namespace Vexo::Linux
