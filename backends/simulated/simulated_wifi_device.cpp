#include "backends/simulated/simulated_wifi_device.h"

#include <algorithm>
#include <utility>

#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/wifi/wifi_config.h"

namespace Vexo::Simulated {
namespace {

using std::chrono::steady_clock;
namespace JoinFailure = Wifi::JoinFailure;
using Wifi::LinkEnd;
using Wifi::WifiDeviceConfig;
using Wifi::WifiLinkInfo;
using Wifi::WifiLinkState;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedWifi"};

bool AllowsSecurity(const std::string& keyMgmt, HotspotSecurity security)
{
    return keyMgmt.empty() || (keyMgmt == "NONE" && security == HotspotSecurity::OPEN) ||
           (keyMgmt == "WPA-PSK" && security != HotspotSecurity::OPEN);
}

bool IsLooking(WifiLinkState state)
{
    return state == WifiLinkState::CONNECTING || state == WifiLinkState::CONNECTED;
}

}  // namespace

SimulatedWifiDevice::SimulatedWifiDevice(std::shared_ptr<LiveState> live, Air air,
                                         sptr<EventFwk::ICommonEventService> events,
                                         std::chrono::milliseconds searchLimit)
    : live_(std::move(live)), air_(std::move(air)), events_(std::move(events)), searchLimit_(searchLimit)
{
}

int32_t SimulatedWifiDevice::GetDeviceConfigs(std::vector<WifiDeviceConfig>& configs, bool isCandidate)
{
    const TraceSpan span(SpanName::WIFI_CONFIGS);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::WIFI_GET_CONFIGS, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    configs = configs_.List(isCandidate);
    return Wifi::WIFI_OK;
}

int32_t SimulatedWifiDevice::AddDeviceConfig(const WifiDeviceConfig& config, int& networkId, bool isCandidate)
{
    const TraceSpan span(SpanName::WIFI_ADD);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::WIFI_ADD_CONFIG, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    if (const int32_t invalid = Wifi::CheckConfig(config); invalid != Wifi::WIFI_OK) {
        return invalid;
    }
    networkId = configs_.Add(config, isCandidate);
    return Wifi::WIFI_OK;
}

int32_t SimulatedWifiDevice::ConnectToDevice(const WifiDeviceConfig& config)
{
    const TraceSpan span(SpanName::WIFI_CONNECT);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::WIFI_CONNECT, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    if (!live_->Get()->wifiEnabled) {
        return Wifi::WIFI_DISABLED;
    }
    const WifiDeviceConfig wanted = configs_.Resolve(config);
    if (const int32_t invalid = Wifi::CheckConfig(wanted); invalid != Wifi::WIFI_OK) {
        return invalid;
    }
    std::optional<uint32_t> attempt;
    {
        MutexLock lock(mutex_);
        wanted_ = wanted;
        deadline_ = steady_clock::now() + searchLimit_;
        attempt = link_.Begin(wanted.ssid);
    }
    if (!attempt) {
        return Wifi::WIFI_FAILED;
    }
    if (!PostLook()) {
        link_.End(*attempt, {JoinFailure::RADIO_FAILED, "too much work waits on this device"});
        return Wifi::WIFI_FAILED;
    }
    return Wifi::WIFI_OK;
}

void SimulatedWifiDevice::OnStateChanged()
{
    PostLook();
}

void SimulatedWifiDevice::Stop()
{
    link_.Stop();
    strand_.Post([self = sptr<SimulatedWifiDevice>(this)] {
        self->stopped_ = true;
        self->StopLooking();
    });
    strand_.Drain();
}

bool SimulatedWifiDevice::PostLook()
{
    return strand_.Post([self = sptr<SimulatedWifiDevice>(this)] { self->Look(); });
}

void SimulatedWifiDevice::Look()
{
    WifiLinkInfo info;
    WifiDeviceConfig wanted;
    steady_clock::time_point deadline;
    {
        MutexLock lock(mutex_);
        info = link_.Get();
        wanted = wanted_;
        deadline = deadline_;
    }
    if (stopped_ || !IsLooking(info.state)) {
        StopLooking();
        return;
    }
    const std::shared_ptr<const DeviceState> state = live_->Get();
    if (!state->wifiEnabled || !state->stationPresent) {
        End(info.attempt, {JoinFailure::WIFI_OFF,
                           state->stationPresent ? "Wi-Fi is switched off" : "this device has no Wi-Fi any more"});
        return;
    }
    if (!StartWatching()) {
        End(info.attempt, {JoinFailure::RADIO_FAILED, "the air cannot be watched"});
        return;
    }
    const Sighting sighting = Sight(wanted);
    if (info.state == WifiLinkState::CONNECTING) {
        LookWhileConnecting(info.attempt, deadline, sighting);
    } else if (!sighting.matches) {
        End(info.attempt,
            sighting.visible ? sighting.mismatch : LinkEnd{JoinFailure::NOT_VISIBLE, "the hotspot is gone"});
    }
}

void SimulatedWifiDevice::LookWhileConnecting(uint32_t attempt, steady_clock::time_point deadline,
                                              const Sighting& sighting)
{
    const auto now = steady_clock::now();
    if (!sighting.visible && now < deadline) {
        joiningAttempt_ = 0;
        LookAgainAt(deadline);
        return;
    }
    if (sighting.visible && joiningAttempt_ != attempt) {
        joiningAttempt_ = attempt;
        joinedAt_ = now + live_->Get()->joinTime;
    }
    if (sighting.visible && now < joinedAt_) {
        LookAgainAt(joinedAt_);
        return;
    }
    if (sighting.matches) {
        Connect(attempt, sighting.bssid);
    } else {
        End(attempt, sighting.mismatch);
    }
}

SimulatedWifiDevice::Sighting SimulatedWifiDevice::Sight(const WifiDeviceConfig& wanted)
{
    Sighting sighting;
    sighting.mismatch = Wifi::NotVisible(wanted.ssid);
    for (const AirRecord& record : air_.Look()) {
        if (record.ssid != wanted.ssid) {
            continue;
        }
        const std::optional<LinkEnd> mismatch = MismatchOf(wanted, record);
        if (!mismatch) {
            return {true, true, record.bssid};
        }
        sighting = {true, false, record.bssid, *mismatch};
    }
    return sighting;
}

std::optional<LinkEnd> SimulatedWifiDevice::MismatchOf(const WifiDeviceConfig& wanted, const AirRecord& record)
{
    if (!AllowsSecurity(wanted.keyMgmt, record.security)) {
        return LinkEnd{JoinFailure::SECURITY_DIFFERS, "security differs: the hotspot uses " +
                                                          std::string(SecurityName(record.security)) +
                                                          ", the configuration says " + wanted.keyMgmt};
    }
    if (record.security == HotspotSecurity::OPEN) {
        return std::nullopt;
    }
    if (wanted.preSharedKey.empty()) {
        return LinkEnd{JoinFailure::KEY_NEEDED, "the hotspot needs a key"};
    }
    if (provenSsid_ != wanted.ssid || provenKey_ != wanted.preSharedKey) {
        provenSsid_ = wanted.ssid;
        provenKey_ = wanted.preSharedKey;
        proof_ = MakeKeyProof(wanted.ssid, wanted.preSharedKey);
    }
    if (proof_ == record.keyProof) {
        return std::nullopt;
    }
    return LinkEnd{JoinFailure::WRONG_KEY, "wrong key"};
}

void SimulatedWifiDevice::LookAgainAt(steady_clock::time_point time)
{
    timer_.Cancel();
    const auto delay = std::chrono::ceil<std::chrono::microseconds>(time - steady_clock::now());
    timer_ = Tasks::Timers::System().RunAfter(std::max(delay, std::chrono::microseconds(0)),
                                              [self = sptr<SimulatedWifiDevice>(this)] { self->PostLook(); });
}

bool SimulatedWifiDevice::StartWatching()
{
    if (watcher_) {
        return true;
    }
    // The reference that the watcher holds ends in StopLooking, at the latest from Stop().
    Result<std::unique_ptr<FolderWatcher>> watcher = FolderWatcher::Start(
        air_.Folder(), [self = sptr<SimulatedWifiDevice>(this)](const std::string&) { self->PostLook(); });
    if (!watcher) {
        QuviewDFX::LogError(LABEL, "cannot watch the air: %{public}s", watcher.error().message);
        return false;
    }
    watcher_ = std::move(watcher.value());
    return true;
}

void SimulatedWifiDevice::StopLooking()
{
    timer_.Cancel();
    watcher_.reset();
    joiningAttempt_ = 0;
}

void SimulatedWifiDevice::Connect(uint32_t attempt, const std::string& bssid)
{
    {
        MutexLock lock(mutex_);
        if (link_.Get().attempt != attempt) {
            return;
        }
        // Before the state: a caller that sees "connected" may ask for the BSSID at once.
        configs_.NoteBssid(wanted_, bssid);
        if (!link_.Connect(attempt, air_.StationAddress())) {
            return;
        }
        QuviewDFX::LogInfo(LABEL, "connected to \"%{public}s\"", wanted_.ssid);
    }
    timer_.Cancel();
    Publish(EventFwk::NetConnState::CONNECTED);
}

void SimulatedWifiDevice::End(uint32_t attempt, const LinkEnd& end)
{
    const std::string ssid = link_.Get().ssid;
    const std::optional<WifiLinkState> state = link_.End(attempt, end);
    if (!state) {
        return;
    }
    QuviewDFX::LogInfo(LABEL, "not connected to \"%{public}s\": %{public}s", ssid, end.sentence);
    StopLooking();
    Publish(*state == WifiLinkState::FAILED ? EventFwk::NetConnState::FAILED : EventFwk::NetConnState::DISCONNECTED);
}

void SimulatedWifiDevice::Publish(EventFwk::NetConnState state)
{
    EventFwk::Want want;
    want.SetAction(EventFwk::CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE)
        .SetParam(EventFwk::CommonEventSupport::NET_TYPE_PARAMETER, static_cast<int32_t>(EventFwk::NetType::WIFI));
    events_->PublishCommonEvent(EventFwk::CommonEventData(want, static_cast<int32_t>(state)));
}

}  // namespace Vexo::Simulated
