#include "backends/simulated/simulated_wifi_device.h"

#include <future>
#include <utility>

#include "backends/simulated/uplink.h"
#include "platform/base/check.h"
#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/wifi/wifi_config.h"

namespace Vexo::Simulated {
namespace {

namespace JoinFailure = Wifi::JoinFailure;
using Wifi::LinkEnd;
using Wifi::Station;
using Wifi::WifiDeviceConfig;
using Wifi::WifiLinkState;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedWifi"};

Wifi::NetworkSecurity SecurityOf(const AirRecord& record)
{
    const HotspotSecurity security = record.security;
    return {security != HotspotSecurity::OPEN, security == HotspotSecurity::WPA2, security == HotspotSecurity::WPA3};
}

const char* SecurityWord(HotspotSecurity security)
{
    switch (security) {
        case HotspotSecurity::OPEN:
            return "open";
        case HotspotSecurity::WPA2:
            return "WPA2";
        case HotspotSecurity::WPA3:
            break;
    }
    return "WPA3";
}

EventFwk::NetConnState NetConnStateOf(WifiLinkState state)
{
    switch (state) {
        case WifiLinkState::CONNECTED:
            return EventFwk::NetConnState::CONNECTED;
        case WifiLinkState::FAILED:
            return EventFwk::NetConnState::FAILED;
        default:
            return EventFwk::NetConnState::DISCONNECTED;
    }
}

}  // namespace

SimulatedWifiDevice::SimulatedWifiDevice(std::shared_ptr<LiveState> live, Air air,
                                         sptr<EventFwk::ICommonEventService> events,
                                         std::chrono::milliseconds searchLimit, Tasks::Timers& timers)
    : live_(std::move(live)),
      air_(std::move(air)),
      events_(std::move(events)),
      searchLimit_(searchLimit),
      timers_(timers),
      presence_(air_),
      station_(timers)
{
}

SimulatedWifiDevice::~SimulatedWifiDevice()
{
    DISTNET_ASSERT(station_.IsStopped(), "Stop() is called before the last reference is released");
}

int32_t SimulatedWifiDevice::GetDeviceConfigs(std::vector<WifiDeviceConfig>& configs, bool isCandidate)
{
    const TraceSpan span(SpanName::WIFI_CONFIGS);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::WIFI_GET_CONFIGS, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    configs = station_.configs.List(isCandidate);
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
    networkId = station_.configs.Add(config, isCandidate);
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
    const WifiDeviceConfig wanted = station_.configs.Resolve(config);
    if (const int32_t invalid = Wifi::CheckConfig(wanted); invalid != Wifi::WIFI_OK) {
        return invalid;
    }
    const std::optional<uint32_t> attempt = station_.Begin(wanted, searchLimit_);
    if (!attempt) {
        return Wifi::WIFI_FAILED;
    }
    if (!PostCheck()) {
        station_.OnEnded(*attempt, {JoinFailure::RADIO_FAILED, "too much work waits on this device"});
        return Wifi::WIFI_FAILED;
    }
    return Wifi::WIFI_OK;
}

std::optional<Wifi::JoinedNetwork> SimulatedWifiDevice::Joined()
{
    const Station::Join join = station_.Current();
    const MutexLock lock(mutex_);
    const bool isCurrent =
        join.state == Station::State::CONNECTED && joined_.has_value() && joined_->attempt == join.attempt;
    return isCurrent ? joined_ : std::nullopt;
}

std::optional<AirRecord> SimulatedWifiDevice::JoinedHotspot(uint32_t attempt)
{
    const bool isJoined = station_.Current().state == Station::State::CONNECTED;
    std::string bssid;
    {
        const MutexLock lock(mutex_);
        if (!isJoined || !joined_ || joined_->attempt != attempt) {
            return std::nullopt;
        }
        bssid = joinedBssid_;
    }
    for (AirRecord& record : air_.Records()) {
        if (record.bssid == bssid) {
            return std::move(record);
        }
    }
    return std::nullopt;
}

Result<Wifi::LeftNetwork> SimulatedWifiDevice::Leave(uint32_t attempt, std::chrono::milliseconds limit)
{
    const auto ended = std::make_shared<std::promise<bool>>();
    std::future<bool> hasEnded = ended->get_future();
    const bool isPosted = strand_.Post(
        [self = sptr<SimulatedWifiDevice>(this), ended, attempt] { ended->set_value(self->EndOnRequest(attempt)); });
    if (!isPosted || hasEnded.wait_for(limit) != std::future_status::ready) {
        return Fail(ErrorCode::UNAVAILABLE, "the simulated radio has not left its network yet");
    }
    const std::shared_ptr<const DeviceState> state = live_->Get();
    return Wifi::LeftNetwork{hasEnded.get(), IsOnOwnWifi(*state, live_->IsJoined()) ? state->ownWifi : ""};
}

void SimulatedWifiDevice::OnStateChanged()
{
    PostCheck();
}

void SimulatedWifiDevice::Stop()
{
    station_.Stop();
    strand_.Post([self = sptr<SimulatedWifiDevice>(this)] {
        self->stopped_ = true;
        self->StopWatching();
        self->ClearJoined();
    });
    strand_.Drain();
}

bool SimulatedWifiDevice::PostCheck()
{
    return strand_.Post([self = sptr<SimulatedWifiDevice>(this)] { self->CheckAir(); });
}

void SimulatedWifiDevice::CheckAir()
{
    const Station::Join join = station_.Current();
    if (join.state != Station::State::CONNECTED && ClearJoined()) {
        listener_.Notify();
    }
    if (stopped_ || !join.IsUnderWay()) {
        StopWatching();
        return;
    }
    const std::shared_ptr<const DeviceState> state = live_->Get();
    if (!state->wifiEnabled || !state->stationPresent) {
        End(join.attempt, Wifi::WifiOff(state->stationPresent));
        return;
    }
    if (!StartWatching()) {
        End(join.attempt, {JoinFailure::RADIO_FAILED, "the air cannot be watched"});
        return;
    }
    const FoundNetwork found = FindNetwork(join.config);
    if (join.state != Station::State::CONNECTED) {
        CheckWhileConnecting(join, found);
    } else if (!found.isVisible || found.mismatch) {
        End(join.attempt, found.mismatch.value_or(Wifi::HotspotGone()));
    } else {
        PutRecord(found.record.bssid);
    }
}

void SimulatedWifiDevice::CheckWhileConnecting(const Station::Join& join, const FoundNetwork& found)
{
    if (!found.isVisible) {
        if (join.searchLeft.count() == 0) {
            End(join.attempt, Wifi::NotVisible(join.config.ssid));
        } else if (station_.Advance(join.attempt, Station::State::SEARCHING)) {
            CheckAgainIn(join.searchLeft);
        }
        return;
    }
    const auto now = timers_.Now();
    if (join.state == Station::State::SEARCHING) {
        joinedAt_ = now + live_->Get()->joinTime;
    }
    if (!station_.Advance(join.attempt, Station::State::JOINING)) {
        return;
    }
    if (now < joinedAt_) {
        CheckAgainIn(std::chrono::ceil<std::chrono::microseconds>(joinedAt_ - now));
    } else if (found.mismatch) {
        End(join.attempt, *found.mismatch);
    } else {
        OnJoined(join, found.record);
    }
}

void SimulatedWifiDevice::OnJoined(const Station::Join& join, const AirRecord& hotspot)
{
    {
        const MutexLock lock(mutex_);
        joined_ = {join.attempt,
                   join.config.ssid,
                   SecurityWord(hotspot.security),
                   "simulated",
                   air_.StationMac(),
                   air_.StationAddress(),
                   "",
                   {}};
        joinedBssid_ = hotspot.bssid;
    }
    live_->SetJoined(true);
    PutRecord(hotspot.bssid);
    if (station_.OnConnected(join.attempt, hotspot.bssid, air_.StationAddress())) {
        timer_.Cancel();
        Publish(WifiLinkState::CONNECTED);
        listener_.Notify();
    }
}

void SimulatedWifiDevice::PutRecord(const std::string& bssid)
{
    const std::shared_ptr<const DeviceState> state = live_->Get();
    const StationRecord record{bssid, air_.StationMac(), state->receivedBytes, state->sentBytes};
    if (record == record_) {
        return;
    }
    if (const Result<void> put = presence_.Put(record); !put) {
        QuviewDFX::LogError(LABEL, "cannot write this station's record: %{public}s", put.error().message);
        return;
    }
    record_ = record;
}

bool SimulatedWifiDevice::ClearJoined()
{
    if (!live_->IsJoined()) {
        return false;
    }
    live_->SetJoined(false);
    presence_.Remove();
    record_.reset();
    return true;
}

bool SimulatedWifiDevice::EndOnRequest(uint32_t attempt)
{
    const Station::Join join = station_.Current();
    if (join.attempt != attempt || !join.IsUnderWay()) {
        return false;
    }
    station_.configs.Remove(join.config);
    End(attempt, {JoinFailure::ENDED_HERE, "disconnected at this device"});
    return true;
}

SimulatedWifiDevice::FoundNetwork SimulatedWifiDevice::FindNetwork(const WifiDeviceConfig& wanted)
{
    FoundNetwork found;
    for (const AirRecord& record : air_.Records()) {
        if (record.ssid != wanted.ssid) {
            continue;
        }
        found = {true, record, MismatchOf(wanted, record)};
        if (!found.mismatch) {
            break;
        }
    }
    return found;
}

std::optional<LinkEnd> SimulatedWifiDevice::MismatchOf(const WifiDeviceConfig& wanted, const AirRecord& record)
{
    if (std::optional<LinkEnd> mismatch = Wifi::MismatchOf(wanted, SecurityOf(record))) {
        return mismatch;
    }
    if (record.security == HotspotSecurity::OPEN) {
        return std::nullopt;
    }
    if (provenSsid_ != wanted.ssid || provenKey_ != wanted.preSharedKey) {
        provenSsid_ = wanted.ssid;
        provenKey_ = wanted.preSharedKey;
        proof_ = MakeKeyProof(wanted.ssid, wanted.preSharedKey);
    }
    return proof_ == record.keyProof ? std::nullopt : std::optional(Wifi::WrongKey());
}

void SimulatedWifiDevice::CheckAgainIn(std::chrono::microseconds delay)
{
    timer_.Cancel();
    timer_ = timers_.RunAfter(delay, [self = sptr<SimulatedWifiDevice>(this)] { self->PostCheck(); });
}

bool SimulatedWifiDevice::StartWatching()
{
    if (watcher_) {
        return true;
    }
    // The watcher's callback owns a reference to this object. StopWatching destroys the watcher and thereby releases
    // the reference. Stop() calls StopWatching.
    Result<std::unique_ptr<FolderWatcher>> watcher =
        FolderWatcher::Start(air_.Folder(), [self = sptr<SimulatedWifiDevice>(this)](const std::string& name) {
            // Station records change at every join, also this device's own record. Only hotspots matter to a station.
            if (name.empty() || Air::IsHotspotRecord(name)) {
                self->PostCheck();
            }
        });
    if (!watcher) {
        QuviewDFX::LogError(LABEL, "cannot watch the air: %{public}s", watcher.error().message);
        return false;
    }
    watcher_ = std::move(watcher.value());
    return true;
}

void SimulatedWifiDevice::StopWatching()
{
    timer_.Cancel();
    watcher_.reset();
}

void SimulatedWifiDevice::End(uint32_t attempt, const LinkEnd& end)
{
    const bool wasJoined = ClearJoined();
    if (const std::optional<WifiLinkState> state = station_.OnEnded(attempt, end)) {
        StopWatching();
        Publish(*state);
    }
    if (wasJoined) {
        listener_.Notify();
    }
}

void SimulatedWifiDevice::Publish(WifiLinkState state)
{
    EventFwk::Want want;
    want.SetAction(EventFwk::CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE)
        .SetParam(EventFwk::CommonEventSupport::NET_TYPE_PARAMETER, static_cast<int32_t>(EventFwk::NetType::WIFI));
    events_->PublishCommonEvent(EventFwk::CommonEventData(want, static_cast<int32_t>(NetConnStateOf(state))));
}

}  // namespace Vexo::Simulated
