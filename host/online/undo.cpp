#include "host/online/undo.h"

#include <variant>

#include "host/online/online_faults.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Online"};

}  // namespace

bool IsOnNetworkOf(const OnlineOptions& options, const DeviceInUse& device)
{
    // The state of the latest join does not change while the radio's daemon does not answer. So a daemon that does not
    // answer is not mistaken for a lost network.
    const WifiStatus wifi = options.wifi();
    return wifi.state == WifiState::CONNECTED && wifi.attempt == device.wifiAttempt;
}

std::optional<ReleaseAnswer> Release(const OnlineOptions& options, const DeviceInUse& device,
                                     std::chrono::milliseconds limit, Cancellation* stop)
{
    const Result<PeerAnswer> answer =
        options.peers->Ask(device.networkId, ReleaseRequest{device.macAddress}, options.timers->Now() + limit, stop);
    const auto* released = answer ? std::get_if<ReleaseAnswer>(&answer.value()) : nullptr;
    return released != nullptr ? std::optional(*released) : std::nullopt;
}

Undone Undo(const OnlineOptions& options, const DeviceInUse& device, Cancellation* stop)
{
    const auto isStopped = [stop] { return stop != nullptr && stop->IsCancelled(); };
    Undone undone;
    undone.undoneChanges.networkId = device.networkId;
    undone.undoneChanges.deviceName = device.deviceName;
    // Notify the other device first, because its answer may travel over the network that this device then leaves.
    std::optional<ReleaseAnswer> released;
    if (!isStopped()) {
        released = Release(options, device, RELEASE_LIMIT, stop);
    }
    if (device.wifiAttempt != 0 && !isStopped()) {
        const Result<Wifi::LeftNetwork> left = options.station->Leave(device.wifiAttempt, LEAVE_LIMIT);
        if (left) {
            undone.undoneChanges.hasLeftWifi = left.value().hasLeft;
            undone.undoneChanges.backOn = left.value().backOn;
        } else {
            undone.fault = MakeFault(OnlineFaultCode::FAILED, FaultDevice{device.networkId, device.deviceName});
            undone.fault->message =
                "this device has not left the network of " + device.deviceName + ": " + left.error().message;
            QuviewDFX::LogWarn(LABEL, "%{public}s", undone.fault->message);
            undone.fault->advice = "It is left as soon as the radio answers; see: distnetctl doctor";
        }
    }
    if (device.wifiAttempt != 0) {
        options.suggestAddress(device.networkId, "");
    }
    // After the reconnect to the previous network, the other device may be reachable again.
    if (!released && device.wifiAttempt != 0 && !isStopped()) {
        released = Release(options, device, SECOND_RELEASE_LIMIT, stop);
    }
    undone.undoneChanges.wasNotified = released.has_value();
    undone.undoneChanges.hasClosedHotspot = released && released->hasClosedHotspot;
    return undone;
}

}  // namespace Vexo::Host
