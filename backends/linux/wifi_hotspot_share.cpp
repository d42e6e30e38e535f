// The ShareControl functions of LinuxWifiHotspot, which report the stations and close the hotspot on request. This file
// also contains the timer that closes an unused hotspot.
#include <utility>

#include "backends/linux/wifi_hotspot.h"
#include "platform/base/awaited.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxHotspot"};
constexpr std::chrono::seconds SHARE_CLOSE_LIMIT{3};

struct Closed {
    bool isDone = false;
    std::string activation;  // the path of the activation that was ended; empty: none
};

}  // namespace

void LinuxWifiHotspot::SetOn(bool isOn, const std::string& interface)
{
    {
        const MutexLock lock(mutex_);
        isOpenedHere_ = isOpening_ || share_;
        interface_ = interface;
        if (!share_) {
            opened_.reset();
        }
        if (std::exchange(isOn_, isOn) == isOn) {
            return;
        }
        openings_ += isOn ? 1 : 0;
    }
    listener_.Notify();
}

Wifi::ShareInfo LinuxWifiHotspot::ReadState()
{
    Wifi::ShareInfo info;
    std::string interface;
    {
        const MutexLock lock(mutex_);
        info.isOn = isOn_;
        info.isOpenedHere = isOn_ && isOpenedHere_;
        info.openingNumber = openings_;
        interface = interface_;
    }
    info.areStationsKnown = true;
    if (interface.empty()) {
        return info;  // a hotspot that is not activated has no stations
    }
    Result<std::vector<Wifi::ShareStation>> stations = options_.listStations(interface);
    if (!stations) {
        info.areStationsKnown = false;
        QuviewDFX::LogWarn(LABEL, "cannot list the stations, assuming none: %{public}s", stations.error().message);
        return info;
    }
    info.stations = std::move(stations.value());
    return info;
}

Result<void> LinuxWifiHotspot::Close(const char* reason)
{
    const Failure noAnswer = Fail(ErrorCode::UNAVAILABLE, "NetworkManager does not answer: the hotspot closes later");
    const WifiContext::Deadline deadline = context_->timers.Now() + SHARE_CLOSE_LIMIT;
    const auto closing = std::make_shared<Awaited<Closed>>();
    // The work is not dropped at the time limit, because the hotspot must close even if the caller has stopped waiting.
    context_->strand.Post([self = sptr<LinuxWifiHotspot>(this), reason = std::string(reason), closing] {
        const std::string activation = self->share_ ? self->share_->change.activation : "";
        closing->Set({self->CloseOwn(reason.c_str()), activation});
    });
    const std::optional<Closed> closed = closing->WaitFor(SHARE_CLOSE_LIMIT);
    if (!closed || !closed->isDone) {
        return noAnswer;
    }
    if (!closed->activation.empty()) {
        return context_->WaitFor(closed->activation, ActivationState::GONE, deadline) ? Result<void>() : noAnswer;
    }
    const MutexLock lock(mutex_);
    return isOn_ ? Fail(ErrorCode::REFUSED, "somebody else turned the hotspot on") : Result<void>();
}

void LinuxWifiHotspot::Guard()
{
    if (!share_) {
        return;
    }
    const Wifi::ShareInfo info = ReadState();
    const Result<bool> uplink = context_->manager.HasUplink();
    const char* const reason =
        guard_.ReasonToClose(context_->timers.Now(), !info.stations.empty(), !uplink || uplink.value());
    if (reason != nullptr) {
        CloseOwn(reason);
    } else {
        GuardLater();
    }
}

void LinuxWifiHotspot::GuardLater()
{
    timer_.Cancel();
    timer_ = context_->timers.RunAfter(guard_.Limits().checkPeriod, [self = sptr<LinuxWifiHotspot>(this)] {
        self->context_->strand.Post([self] { self->Guard(); });
    });
}

}  // namespace Vexo::Linux
