#include "platform/wifi/station.h"

#include <algorithm>

#include "platform/dfx/log.h"
#include "platform/dfx/sys_event.h"

namespace Vexo::Wifi {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Station"};
constexpr const char* DOMAIN = "NETMANAGER";

}  // namespace

LinkEnd NotVisible(const std::string& ssid)
{
    return {JoinFailure::NOT_VISIBLE, "no hotspot called \"" + ssid + "\" is visible"};
}

LinkEnd HotspotGone()
{
    return {JoinFailure::NOT_VISIBLE, "the hotspot is gone"};
}

LinkEnd WrongKey()
{
    return {JoinFailure::WRONG_KEY, "wrong key"};
}

LinkEnd WifiOff(bool hasRadio)
{
    return {JoinFailure::WIFI_OFF, hasRadio ? "Wi-Fi is switched off" : "this device has no Wi-Fi any more"};
}

std::optional<LinkEnd> MismatchOf(const WifiDeviceConfig& config, const NetworkSecurity& security)
{
    const bool takesKey = security.allowsPsk || security.allowsSae;
    const bool asksKey = config.keyMgmt == "WPA-PSK";
    const bool asksOpen = config.keyMgmt == "NONE";
    if (config.keyMgmt == "WPA-EAP" || (asksOpen && security.needsKey) || (asksKey && !takesKey) ||
        (security.needsKey && !takesKey)) {
        const std::string offered = !security.needsKey   ? "nothing"
                                    : security.allowsPsk ? "WPA2"
                                    : security.allowsSae ? "WPA3"
                                                         : "something that no key opens";
        return LinkEnd{JoinFailure::SECURITY_DIFFERS, "security differs: the hotspot uses " + offered +
                                                          ", the configuration says " +
                                                          (config.keyMgmt.empty() ? "a key" : config.keyMgmt)};
    }
    if (security.needsKey && config.preSharedKey.empty()) {
        return LinkEnd{JoinFailure::KEY_NEEDED, "the hotspot needs a key"};
    }
    return std::nullopt;
}

WifiLinkInfo Station::LinkInfo() const
{
    const MutexLock lock(mutex_);
    return info_;
}

WifiLinkInfo Station::WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit)
{
    const MutexLock lock(mutex_);
    changed_.WaitFor(mutex_, limit, [&]() REQUIRES(mutex_) {
        return stopped_ || info_.state != known.state || info_.attempt != known.attempt;
    });
    return info_;
}

Station::Join Station::Current() const
{
    const MutexLock lock(mutex_);
    Join join = join_;
    const auto left = std::chrono::ceil<std::chrono::microseconds>(searchEnd_ - clock_.Now());
    join.searchLeft = std::max(left, std::chrono::microseconds(0));
    return join;
}

std::optional<uint32_t> Station::Begin(const WifiDeviceConfig& config, std::chrono::milliseconds searchLimit)
{
    const MutexLock lock(mutex_);
    if (stopped_) {
        return std::nullopt;
    }
    join_ = {join_.attempt + 1, State::SEARCHING, config};
    searchEnd_ = clock_.Now() + searchLimit;
    info_ = {WifiLinkState::CONNECTING, join_.attempt, config.ssid, "", "", ""};
    changed_.NotifyAll();
    return join_.attempt;
}

bool Station::Advance(uint32_t attempt, State state)
{
    DISTNET_ASSERT(state >= State::SEARCHING && state < State::CONNECTED, "an attempt advances before it is CONNECTED");
    const MutexLock lock(mutex_);
    if (!IsUnderWay(attempt)) {
        return false;
    }
    DISTNET_ASSERT(join_.state != State::CONNECTED, "a connection only ends");
    join_.state = state;
    return true;
}

bool Station::OnConnected(uint32_t attempt, const std::string& bssid, const std::string& address)
{
    const MutexLock lock(mutex_);
    if (!IsUnderWay(attempt)) {
        return false;
    }
    join_.state = State::CONNECTED;
    configs.SetBssid(join_.config, bssid);
    if (stopped_) {
        return false;
    }
    QuviewDFX::LogInfo(LABEL, "connected to \"%{public}s\"", join_.config.ssid);
    info_.state = WifiLinkState::CONNECTED;
    info_.address = address;
    changed_.NotifyAll();
    return true;
}

std::optional<WifiLinkState> Station::OnEnded(uint32_t attempt, const LinkEnd& end)
{
    WifiLinkState ended = WifiLinkState::FAILED;
    {
        const MutexLock lock(mutex_);
        if (!IsUnderWay(attempt)) {
            return std::nullopt;
        }
        const bool wasConnected = join_.state == State::CONNECTED;
        join_.state = wasConnected ? State::DISCONNECTED : State::FAILED;
        QuviewDFX::LogInfo(LABEL, "not connected to \"%{public}s\": %{public}s", join_.config.ssid, end.sentence);
        if (stopped_) {
            return std::nullopt;
        }
        ended = wasConnected ? WifiLinkState::DISCONNECTED : WifiLinkState::FAILED;
        info_.state = ended;
        info_.reason = end.sentence;
        info_.failure = end.failure;
        info_.address.clear();
        changed_.NotifyAll();
    }
    if (ended == WifiLinkState::FAILED) {
        QuviewDFX::QuSysEvent::Write(DOMAIN, "NET_WIFI_JOIN_FAIL", QuviewDFX::QuSysEvent::BEHAVIOR, "REASON",
                                     std::string(end.failure));
    }
    return ended;
}

void Station::Stop()
{
    const MutexLock lock(mutex_);
    stopped_ = true;
    changed_.NotifyAll();
}

bool Station::IsStopped() const
{
    const MutexLock lock(mutex_);
    return stopped_;
}

}  // namespace Vexo::Wifi
