#include "platform/wifi/wifi_link.h"

#include "platform/dfx/sys_event.h"

namespace Vexo::Wifi {
namespace {

constexpr const char* DOMAIN = "NETMANAGER";

}  // namespace

LinkEnd NotVisible(const std::string& ssid)
{
    return {JoinFailure::NOT_VISIBLE, "no hotspot called \"" + ssid + "\" is visible"};
}

WifiLinkInfo WifiLink::Get()
{
    MutexLock lock(mutex_);
    return info_;
}

WifiLinkInfo WifiLink::WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit)
{
    MutexLock lock(mutex_);
    changed_.WaitFor(mutex_, limit, [&]() REQUIRES(mutex_) {
        return stopped_ || info_.state != known.state || info_.attempt != known.attempt;
    });
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

bool WifiLink::Connect(uint32_t attempt, const std::string& address)
{
    MutexLock lock(mutex_);
    if (!IsCurrent(attempt)) {
        return false;
    }
    info_.state = WifiLinkState::CONNECTED;
    info_.address = address;
    changed_.NotifyAll();
    return true;
}

std::optional<WifiLinkState> WifiLink::End(uint32_t attempt, const LinkEnd& end)
{
    WifiLinkState state = WifiLinkState::DISCONNECTED;
    {
        MutexLock lock(mutex_);
        if (!IsCurrent(attempt)) {
            return std::nullopt;
        }
        state = info_.state == WifiLinkState::CONNECTED ? WifiLinkState::DISCONNECTED : WifiLinkState::FAILED;
        info_.state = state;
        info_.reason = end.sentence;
        info_.address.clear();
        changed_.NotifyAll();
    }
    if (state == WifiLinkState::FAILED) {
        QuviewDFX::QuSysEvent::Write(DOMAIN, "NET_WIFI_JOIN_FAIL", QuviewDFX::QuSysEvent::BEHAVIOR, "REASON",
                                     std::string(end.failure));
    }
    return state;
}

void WifiLink::Stop()
{
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.NotifyAll();
}

}  // namespace Vexo::Wifi
