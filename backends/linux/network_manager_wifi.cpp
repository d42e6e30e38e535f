#include "backends/linux/network_manager_wifi.h"

#include <algorithm>
#include <utility>

#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxWifi"};

const BusObject ANY_DEVICE{NETWORK_MANAGER, "", NM_DEVICE_INTERFACE};
const BusObject ANY_RADIO{NETWORK_MANAGER, "", NM_WIRELESS_INTERFACE};

void ReportIfChanged(std::optional<Presence>& reported, Presence now, const PresenceChanged& report)
{
    if (reported != now) {
        reported = std::move(now);
        report(*reported);
    }
}

}  // namespace

NetworkManagerWifi::NetworkManagerWifi(const std::shared_ptr<Bus>& bus, const WifiOptions& options,
                                       WifiListener listener)
    : listener_(std::move(listener)),
      context_(std::make_shared<WifiContext>(bus, options.hotspot.stateDir, options.answerLimit)),
      station_(MakeSptr<LinuxWifiDevice>(context_, options.station, listener_.linkEnded)),
      hotspot_(MakeSptr<LinuxWifiHotspot>(context_, options.hotspot))
{
    Tasks::Strand& strand = context_->strand;
    subscriptions_.push_back(bus->OnSignal<uint32_t, uint32_t, uint32_t>(
        strand, ANY_DEVICE, "StateChanged",
        [this](const std::string& radio, uint32_t state, uint32_t, uint32_t reason) {
            station_->OnRadioState(radio, state, static_cast<NmReason>(reason));
            OnChanged();
        }));
    for (const char* const signal : {"DeviceAdded", "DeviceRemoved"}) {
        subscriptions_.push_back(bus->OnSignal<sdbus::ObjectPath>(
            strand, NM_MANAGER, signal, [this](const std::string&, const sdbus::ObjectPath&) { OnChanged(); }));
    }
    for (const char* const signal : {"AccessPointAdded", "AccessPointRemoved"}) {
        subscriptions_.push_back(bus->OnSignal<sdbus::ObjectPath>(
            strand, ANY_RADIO, signal,
            [this](const std::string&, const sdbus::ObjectPath&) { station_->OnChanged(); }));
    }
    subscriptions_.push_back(
        bus->OnPropertiesChanged(strand, ANY_RADIO, [this](const std::string&, const PropertyMap& changed) {
            if (changed.contains("LastScan")) {
                station_->OnChanged();
            }
        }));
    subscriptions_.push_back(
        bus->OnPropertiesChanged(strand, NM_MANAGER, [this](const std::string&, const PropertyMap& changed) {
            if (changed.contains("WirelessEnabled") || changed.contains("WirelessHardwareEnabled")) {
                OnChanged();
            }
        }));
    subscriptions_.push_back(
        bus->OnService(strand, NETWORK_MANAGER, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); }));
}

NetworkManagerWifi::~NetworkManagerWifi()
{
    Stop();
}

void NetworkManagerWifi::OnServiceOwnerChanged(bool hasOwner)
{
    context_->isRunning = hasOwner;
    if (hasOwner) {
        // NetworkManager acquires its bus name before it exports its objects. Version() waits for the objects.
        if (const Result<std::string> version = context_->manager.Version(); !version) {
            QuviewDFX::LogWarn(LABEL, "NetworkManager does not answer: %{public}s", version.error().message);
        }
        context_->UndoAll();
        OnChanged();
        return;
    }
    QuviewDFX::LogInfo(LABEL, "NetworkManager does not run");
    station_->OnNetworkManagerStopped();
    hotspot_->OnNetworkManagerStopped();
    ReportPresence();
}

void NetworkManagerWifi::OnChanged()
{
    if (context_->isRunning) {
        station_->OnChanged();
        hotspot_->OnChanged();
        ReportPresence();
    }
}

void NetworkManagerWifi::ReportPresence()
{
    Presence station{false, "NetworkManager does not run"};
    Presence hotspot = station;
    if (context_->isRunning) {
        const Result<std::string> version = context_->manager.Version();
        const Result<std::vector<WifiRadio>> radios = context_->manager.Radios();
        if (!radios) {
            return;  // NetworkManager is exiting: OnServiceOwnerChanged follows
        }
        const std::string by = "NetworkManager" + (version ? " " + version.value() : "");
        const Result<bool> isEnabled = context_->manager.IsWifiEnabled();
        const bool isOff = isEnabled && !isEnabled.value();
        const Result<bool> blocked = context_->manager.IsWifiBlocked();
        const bool isBlocked = isOff && blocked && blocked.value();
        station.reason = hotspot.reason = by + ", no Wi-Fi device";
        for (const WifiRadio& radio : radios.value()) {
            std::string reason = by + ", " + radio.interface;
            reason += isBlocked ? ", blocked by a switch of this machine" : isOff ? ", switched off" : "";
            if (!station.isPresent) {
                station = {true, reason, isOff, isBlocked};
            }
            if (!hotspot.isPresent && radio.canBeAccessPoint) {
                hotspot = {true, std::move(reason), isOff, isBlocked};
            }
        }
        if (station.isPresent && !hotspot.isPresent) {
            hotspot.reason = by + ", no Wi-Fi device can be an access point";
        }
    }
    ReportIfChanged(reportedStation_, std::move(station), listener_.stationChanged);
    ReportIfChanged(reportedHotspot_, std::move(hotspot), listener_.hotspotChanged);
}

void NetworkManagerWifi::OnBatteryLow()
{
    context_->strand.Post([hotspot = hotspot_] { hotspot->OnBatteryLow(); });
}

void NetworkManagerWifi::Stop()
{
    if (subscriptions_.empty()) {
        return;
    }
    subscriptions_.clear();
    station_->Stop();
    hotspot_->Stop();
}

}  // namespace Vexo::Linux
