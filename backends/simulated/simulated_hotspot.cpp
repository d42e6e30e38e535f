#include "backends/simulated/simulated_hotspot.h"

#include <utility>

#include "backends/simulated/uplink.h"
#include "platform/base/check.h"
#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/wifi/share_closed.h"
#include "platform/wifi/wifi_config.h"

namespace Vexo::Simulated {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedHotspot"};

Wifi::KeyMgmt KeyMgmtOf(HotspotSecurity security)
{
    switch (security) {
        case HotspotSecurity::OPEN:
            return Wifi::KeyMgmt::NONE;
        case HotspotSecurity::WPA2:
            return Wifi::KeyMgmt::WPA2_PSK;
        case HotspotSecurity::WPA3:
            break;
    }
    return Wifi::KeyMgmt::SAE;
}

}  // namespace

SimulatedHotspot::SimulatedHotspot(std::shared_ptr<LiveState> live, Air air, std::string deviceName,
                                   Tasks::Timers& timers)
    : live_(std::move(live)),
      air_(std::move(air)),
      defaultSsid_(Wifi::MakeHotspotSsid(std::move(deviceName), air_.NetworkId())),
      timers_(timers),
      generatedKey_(Wifi::GenerateHotspotKey())
{
}

SimulatedHotspot::~SimulatedHotspot()
{
    const MutexLock lock(mutex_);
    DISTNET_ASSERT(stopped_, "Stop() is called before the last reference is released");
}

int32_t SimulatedHotspot::IsHotspotActive(bool& isActive)
{
    const TraceSpan span(SpanName::HOTSPOT_STATE);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::HOTSPOT_IS_ACTIVE, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    MutexLock lock(mutex_);
    isActive = active_;
    return Wifi::WIFI_OK;
}

int32_t SimulatedHotspot::EnableHotspot(Wifi::ServiceType type)
{
    const TraceSpan span(SpanName::HOTSPOT_ENABLE);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::HOTSPOT_ENABLE, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    if (type != Wifi::ServiceType::DEFAULT) {
        return Wifi::WIFI_NOT_SUPPORTED;
    }
    if (!live_->Get()->wifiEnabled) {
        return Wifi::WIFI_DISABLED;
    }
    TurnOn(true);
    return Wifi::WIFI_OK;
}

int32_t SimulatedHotspot::DisableHotspot(Wifi::ServiceType type)
{
    const TraceSpan span(SpanName::HOTSPOT_DISABLE);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::HOTSPOT_DISABLE, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    if (type != Wifi::ServiceType::DEFAULT) {
        return Wifi::WIFI_NOT_SUPPORTED;
    }
    TurnOff(Wifi::ShareClosed::ASKED);
    return Wifi::WIFI_OK;
}

int32_t SimulatedHotspot::GetHotspotConfig(Wifi::HotspotConfig& config)
{
    const TraceSpan span(SpanName::HOTSPOT_CONFIG);
    if (const int32_t fault = live_->ApplyFault(PlatformCall::HOTSPOT_GET_CONFIG, Wifi::WIFI_NO_ANSWER); fault != 0) {
        return fault;
    }
    const Settings settings = CurrentSettings();
    config.SetSsid(settings.ssid);
    config.SetPreSharedKey(settings.key);
    config.SetSecurityType(KeyMgmtOf(settings.security));
    return Wifi::WIFI_OK;
}

SimulatedHotspot::Settings SimulatedHotspot::CurrentSettings() const
{
    const std::shared_ptr<const DeviceState> state = live_->Get();
    Settings settings;
    settings.ssid = state->hotspotSsid.empty() ? defaultSsid_ : state->hotspotSsid;
    settings.security = state->hotspotSecurity;
    if (settings.security != HotspotSecurity::OPEN) {
        const MutexLock lock(mutex_);
        settings.key = state->hotspotKey.empty() ? generatedKey_ : state->hotspotKey;
    }
    return settings;
}

std::string SimulatedHotspot::ChangeKey()
{
    {
        const MutexLock lock(mutex_);
        generatedKey_ = Wifi::GenerateHotspotKey();
    }
    strand_.Post([self = sptr<SimulatedHotspot>(this)] { self->Refresh(); });
    return live_->Get()->hotspotKey.empty() ? "" : CurrentSettings().ssid;
}

Wifi::ShareInfo SimulatedHotspot::ReadState()
{
    Wifi::ShareInfo info;
    {
        const MutexLock lock(mutex_);
        info = {active_, isOpenedHere_, openingNumber_, true, {}};
    }
    if (info.isOn) {
        for (const StationRecord& station : air_.Stations()) {
            // The station's counters are swapped, because this device has sent what the station has received.
            info.stations.push_back({station.macAddress, station.sentBytes, station.receivedBytes});
        }
    }
    return info;
}

Result<void> SimulatedHotspot::Close(const char* reason)
{
    {
        const MutexLock lock(mutex_);
        if (!active_) {
            return {};
        }
        if (!isOpenedHere_) {
            return Fail(ErrorCode::REFUSED, "somebody else turned this hotspot on");
        }
    }
    TurnOff(reason);
    strand_.Drain();
    return {};
}

void SimulatedHotspot::TurnOn(bool isOpenedHere)
{
    const std::chrono::milliseconds start = live_->Get()->hotspotStartTime;
    const sptr<SimulatedHotspot> self(this);
    {
        const MutexLock lock(mutex_);
        if (stopped_ || active_) {
            return;
        }
        active_ = true;
        isOpenedHere_ = isOpenedHere;
        ++openingNumber_;
        visibleFrom_ = timers_.Now() + start;
        if (start.count() > 0) {
            timer_ = timers_.RunAfter(start, [self] { self->OnStateChanged(); });
        }
    }
    strand_.Post([self] { self->Refresh(); });
    listener_.Notify();
}

void SimulatedHotspot::TurnOff(const char* reason)
{
    bool wasOpenedHere = false;
    {
        const MutexLock lock(mutex_);
        if (!active_) {
            return;
        }
        active_ = false;
        wasOpenedHere = std::exchange(isOpenedHere_, false);
        timer_.Cancel();
    }
    strand_.Post([self = sptr<SimulatedHotspot>(this)] { self->Refresh(); });
    if (wasOpenedHere && reason != nullptr) {
        Wifi::ReportShareClosed(reason);
    }
    listener_.Notify();
}

void SimulatedHotspot::OnStateChanged()
{
    const std::shared_ptr<const DeviceState> state = live_->Get();
    if (!state->wifiEnabled || !state->hotspotPresent) {
        TurnOff(nullptr);
    }
    strand_.Post([self = sptr<SimulatedHotspot>(this)] { self->Refresh(); });
}

AirRecord SimulatedHotspot::MakeRecord()
{
    const Settings settings = CurrentSettings();
    if (settings != proven_) {
        proven_ = settings;
        proof_ = settings.security == HotspotSecurity::OPEN ? "" : MakeKeyProof(settings.ssid, settings.key);
    }
    const bool hasInternet = UplinkOf(*live_->Get(), live_->IsJoined()).hasInternet.value_or(false);
    return {settings.ssid, air_.Bssid(), settings.security, proof_, AIR_ADDRESS_RANGE, hasInternet};
}

void SimulatedHotspot::Refresh()
{
    bool wanted = false;
    {
        MutexLock lock(mutex_);
        wanted = active_ && visibleFrom_ <= timers_.Now();
    }
    std::optional<AirRecord> record;
    if (wanted) {
        record = MakeRecord();
    }
    if (record == published_) {
        return;
    }
    published_ = record;
    if (!record) {
        air_.Withdraw();
        QuviewDFX::LogInfo(LABEL, "hotspot off");
        return;
    }
    if (const Result<void> written = air_.Publish(*record); !written) {
        QuviewDFX::LogError(LABEL, "cannot write the hotspot's record, so the hotspot stays off: %{public}s",
                            written.error().message);
        air_.Withdraw();
        published_.reset();
        TurnOff(nullptr);
        return;
    }
    QuviewDFX::LogInfo(LABEL, "hotspot on: \"%{public}s\" (%{public}s)", record->ssid, SecurityName(record->security));
}

void SimulatedHotspot::Stop()
{
    {
        const MutexLock lock(mutex_);
        stopped_ = true;
    }
    TurnOff(Wifi::ShareClosed::DAEMON_STOPPED);
    strand_.Drain();
}

}  // namespace Vexo::Simulated
