#include "platform/wifi/wifi_link.h"

namespace Vexo::Wifi {

WifiLinkInfo WifiLink::Get()
{
    MutexLock lock(mutex_);
    return info_;
}

WifiLinkInfo WifiLink::WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    MutexLock lock(mutex_);
    while (!stopped_ && info_.state == known.state && info_.attempt == known.attempt &&
           changed_.WaitUntil(mutex_, deadline)) {
    }
    return info_;
}

std::optional<uint32_t> WifiLink::Begin(const std::string& ssid)
{
    MutexLock lock(mutex_);
    if (stopped_) {
        return std::nullopt;
    }
    info_ = {WifiLinkState::CONNECTING, info_.attempt + 1, ssid, "", ""};
    changed_.NotifyAll();
    return info_.attempt;
}

bool WifiLink::MoveOn(uint32_t attempt, WifiLinkState state, const std::string& reason, const std::string& address)
{
    MutexLock lock(mutex_);
    if (stopped_ || info_.attempt != attempt) {
        return false;
    }
    info_.state = state;
    info_.reason = reason;
    info_.address = address;
    changed_.NotifyAll();
    return true;
}

void WifiLink::Stop()
{
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.NotifyAll();
}

}  // namespace Vexo::Wifi
