// LinuxWifiHotspot as a share: who uses it, when it closes by itself, and how its owner's rules close it.
#include <utility>

#include "backends/linux/wifi_hotspot.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxHotspot"};
constexpr std::chrono::seconds SHARE_CLOSE_LIMIT{3};

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
    listener_.Tell();
}

Wifi::ShareInfo LinuxWifiHotspot::Look()
{
    Wifi::ShareInfo info;
    std::string interface;
    {
        const MutexLock lock(mutex_);
        info.isOn = isOn_;
        info.isOpenedHere = isOn_ && isOpenedHere_;
        info.opening = openings_;
        interface = interface_;
    }
    info.areStationsKnown = true;
    if (interface.empty()) {
        return info;  // a hotspot that is not on the air has no stations
    }
    Result<std::vector<Wifi::ShareStation>> stations = options_.listStations(interface);
    if (!stations) {
        info.areStationsKnown = false;
        QuviewDFX::LogWarn(LABEL, "cannot list the stations, so none counts: %{public}s", stations.error().message);
        return info;
    }
    info.stations = std::move(stations.value());
    return info;
}

Result<void> LinuxWifiHotspot::Close(const char* reason)
{
    const Failure noAnswer = Fail(ErrorCode::UNAVAILABLE, "NetworkManager does not answer: the hotspot closes later");
    const WifiContext::Deadline deadline = context_->timers.Now() + SHARE_CLOSE_LIMIT;
    const auto activation = std::make_shared<std::string>();
    const int32_t closed = context_->RunAndWait(
        SHARE_CLOSE_LIMIT,
        [self = sptr<LinuxWifiHotspot>(this), reason = std::string(reason), activation](WifiContext::Deadline) {
            *activation = self->share_ ? self->share_->change.activation : "";
            return self->CloseOwn(reason.c_str()) ? Wifi::WIFI_OK : Wifi::WIFI_NO_ANSWER;
        });
    if (closed != Wifi::WIFI_OK) {
        return noAnswer;
    }
    if (activation->empty()) {
        const MutexLock lock(mutex_);
        return isOn_ ? Fail(ErrorCode::REFUSED, "somebody else turned the hotspot on") : Result<void>();
    }
    return context_->WaitFor(*activation, ActivationState::GONE, deadline) ? Result<void>() : noAnswer;
}

void LinuxWifiHotspot::Guard()
{
    if (!share_) {
        return;
    }
    const Wifi::ShareInfo info = Look();
    const Result<bool> uplink = context_->manager.HasUplink();
    const char* const reason = guard_.Look(context_->timers.Now(), !info.stations.empty(), !uplink || uplink.value());
    if (reason != nullptr) {
        CloseOwn(reason);
    } else {
        GuardLater();
    }
}

void LinuxWifiHotspot::GuardLater()
{
    timer_.Cancel();
    timer_ = context_->timers.RunAfter(guard_.Limits().look, [self = sptr<LinuxWifiHotspot>(this)] {
        self->context_->strand.Post([self] { self->Guard(); });
    });
}

}  // namespace Vexo::Linux
