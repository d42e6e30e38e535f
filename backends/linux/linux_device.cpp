#include "backends/linux/linux_device.h"

#include <algorithm>
#include <utility>

#include "backends/linux/daemon_version.h"
#include "platform/dfx/log.h"
#include "platform/events/common_event_support.h"

namespace Vexo::Linux {
namespace {

using EventFwk::CommonEventSupport;
using EventFwk::Want;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxDevice"};

}  // namespace

Result<std::string> LinuxDevice::Probe(Bus& bus)
{
    const Result<std::string> version = AwaitVersion(bus, NM_MANAGER, "Version");
    if (!version) {
        return Fail(ErrorCode::UNAVAILABLE, "NetworkManager does not answer (" + version.error().message + ")");
    }
    return "NetworkManager " + version.value();
}

Result<std::unique_ptr<LinuxDevice>> LinuxDevice::Start(const LinuxDeviceOptions& options)
{
    sptr<ISystemAbilityManager> registry = options.registry;
    if (!registry) {
        registry = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    }
    if (!registry || !options.bus) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "a linux device needs a D-Bus connection, and a system-ability manager for its abilities");
    }
    std::unique_ptr<LinuxDevice> device(new LinuxDevice(options, std::move(registry)));
    // Begin runs on the strand, so reports of the daemons wait until Begin has returned.
    if (!device->registrations_.Post([&device] { device->Begin(); })) {
        device->stopped_ = true;
        return Fail(ErrorCode::SYSTEM, "cannot start a thread for the abilities of this machine");
    }
    device->registrations_.Drain();
    device->WaitForFirstReports();
    device->hasStarted_ = true;
    return device;
}

LinuxDevice::LinuxDevice(const LinuxDeviceOptions& options, sptr<ISystemAbilityManager> registry)
    : options_(options), registry_(std::move(registry)), events_(MakeSptr<EventFwk::CommonEventServer>())
{
}

LinuxDevice::~LinuxDevice()
{
    Stop();
    for (const Ability& ability : abilities_) {
        if (ability.presence.isPresent) {
            registry_->RemoveSystemAbility(ability.id);
        }
    }
}

void LinuxDevice::Begin()
{
    const std::shared_ptr<Bus>& bus = options_.bus;
    modems_ = std::make_shared<Modems>(bus, ReporterOf(MODEMS));
    coreService_ = MakeSptr<LinuxCoreService>(modems_);
    // Every failed attempt is published here, because NetworkManager's signals do not report the failure "SSID not
    // found". Connectivity publishes other failures too.
    const auto linkEnded = [this](Wifi::WifiLinkState state) {
        network_->OnStationChanged();
        if (state == Wifi::WifiLinkState::FAILED) {
            PublishConnectivity(EventFwk::NetType::WIFI, EventFwk::NetConnState::FAILED);
        }
    };
    wifi_ = std::make_unique<NetworkManagerWifi>(bus, options_.wifi,
                                                 WifiListener{ReporterOf(STATION), ReporterOf(HOTSPOT), linkEnded});
    network_ = std::make_unique<LinuxNetworkMonitor>(bus, modems_, wifi_->Station(), options_.dnsPort);
    abilities_ = {
        {WIFI_DEVICE_SYS_ABILITY_ID, wifi_->Station(), {STATION}},
        {WIFI_HOTSPOT_SYS_ABILITY_ID, wifi_->Hotspot(), {HOTSPOT}},
        {COMMON_EVENT_SERVICE_ID, events_, {CONNECTIVITY, POWER, SCREEN}, true},
        {TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID, coreService_, {MODEMS}},
        {TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID, MakeSptr<LinuxCellularData>(modems_), {MODEMS}},
    };
    connectivity_ = std::make_unique<Connectivity>(bus, ReporterOf(CONNECTIVITY),
                                                   [this](auto type, auto state) { PublishConnectivity(type, state); });
    power_ = std::make_unique<Power>(
        bus, ReporterOf(POWER),
        [this] {
            Publish(Want().SetAction(CommonEventSupport::COMMON_EVENT_BATTERY_LOW));
            wifi_->OnBatteryLow();
        },
        [this](const Network::Battery& battery) { network_->OnBattery(battery); });
    screen_ = std::make_unique<Screen>(
        bus, ReporterOf(SCREEN),
        [this](bool isOn) {
            Publish(Want().SetAction(isOn ? CommonEventSupport::COMMON_EVENT_SCREEN_ON
                                          : CommonEventSupport::COMMON_EVENT_SCREEN_OFF));
        },
        [this](bool isInUse) { network_->OnUseChanged(isInUse); });
    RegisterAbilities();
}

void LinuxDevice::WaitForFirstReports()
{
    MutexLock lock(mutex_);
    reportReceived_.WaitFor(mutex_, FIRST_REPORT_LIMIT, [this]() REQUIRES(mutex_) {
        return std::find(hasReported_.begin(), hasReported_.end(), false) == hasReported_.end();
    });
}

void LinuxDevice::Stop()
{
    if (std::exchange(stopped_, true)) {
        return;
    }
    coreService_->Stop();
    modems_->Stop();
    connectivity_.reset();
    power_.reset();
    screen_.reset();
    network_->Stop();
    wifi_->Stop();
    registrations_.Drain();
}

Result<std::string> LinuxDevice::ChangeHotspotKey()
{
    return wifi_->Hotspot()->ChangeKey();
}

void LinuxDevice::SignalShareRequest(const std::string& networkId, const std::string& deviceName)
{
    options_.bus->Emit({"", "/org/distnet/Sharing", "org.distnet.Sharing"}, "Requested", networkId, deviceName);
}

std::vector<AbilityState> LinuxDevice::Abilities() const
{
    std::vector<AbilityState> states;
    for (const Ability& ability : abilities_) {
        states.push_back({ability.id, PresenceOf(ability)});
    }
    return states;
}

PresenceChanged LinuxDevice::ReporterOf(Source source)
{
    return [this, source](const Presence& presence) {
        registrations_.Post([this, source, presence] { OnPresence(source, presence); });
    };
}

void LinuxDevice::OnPresence(Source source, const Presence& presence)
{
    bool isNews = false;
    {
        MutexLock lock(mutex_);
        isNews = !hasReported_[source] || presences_[source] != presence;
        presences_[source] = presence;
    }
    if (isNews) {
        RegisterAbilities();
    }
    MutexLock lock(mutex_);
    hasReported_[source] = true;
    reportReceived_.NotifyAll();
}

void LinuxDevice::RegisterAbilities()
{
    for (Ability& ability : abilities_) {
        const Presence now = PresenceOf(ability);
        if (now == ability.presence) {
            continue;
        }
        if (now.isPresent && !ability.presence.isPresent) {
            registry_->AddSystemAbility(ability.id, ability.object);
        } else if (!now.isPresent && ability.presence.isPresent) {
            registry_->RemoveSystemAbility(ability.id);
        }
        ability.presence = now;
        if (!hasStarted_) {
            continue;
        }
        QuviewDFX::LogInfo(LABEL, "ability %{public}d %{public}s%{public}s: %{public}s", ability.id,
                           AbilityName(ability.id), now.isPresent ? "" : " is not available", now.reason);
    }
}

Presence LinuxDevice::PresenceOf(const Ability& ability) const
{
    MutexLock lock(mutex_);
    Presence whole{ability.isAlwaysThere, {}};
    for (const Source source : ability.sources) {
        const Presence& part = presences_[source];
        whole.isPresent = whole.isPresent || part.isPresent;
        whole.isSwitchedOff = whole.isSwitchedOff || part.isSwitchedOff;
        whole.isBlocked = whole.isBlocked || part.isBlocked;
        whole.reason += (whole.reason.empty() ? "" : ", ") + (part.reason.empty() ? "no answer yet" : part.reason);
    }
    return whole;
}

void LinuxDevice::Publish(Want want, int32_t code)
{
    QuviewDFX::LogInfo(LABEL, "event %{public}s, network type %{public}d, code %{public}d", want.GetAction(),
                       want.GetIntParam(CommonEventSupport::NET_TYPE_PARAMETER, -1), code);
    events_->PublishCommonEvent(EventFwk::CommonEventData(std::move(want), code));
}

void LinuxDevice::PublishConnectivity(EventFwk::NetType type, EventFwk::NetConnState state)
{
    Want want;
    want.SetAction(CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE)
        .SetParam(CommonEventSupport::NET_TYPE_PARAMETER, static_cast<int32_t>(type));
    Publish(std::move(want), static_cast<int32_t>(state));
}

}  // namespace Vexo::Linux
