#include "backends/simulated/simulated_device.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/dfx/log.h"
#include "platform/events/common_event_support.h"

namespace Vexo::Simulated {
namespace {

using EventFwk::CommonEventSupport;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedDevice"};
constexpr size_t MIN_NETWORK_ID_LENGTH = 4;
constexpr size_t MAX_NETWORK_ID_LENGTH = 64;
constexpr std::chrono::seconds LEAVE_LIMIT{5};

bool Always(const DeviceState&)
{
    return true;
}

bool HasStation(const DeviceState& state)
{
    return state.stationPresent;
}

bool HasHotspot(const DeviceState& state)
{
    return state.hotspotPresent;
}

// Only letters and digits are allowed, because the id becomes part of a file name.
bool IsNetworkId(const std::string& text)
{
    return text.size() >= MIN_NETWORK_ID_LENGTH && text.size() <= MAX_NETWORK_ID_LENGTH &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
           });
}

Result<void> MakeFolder(const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        return Fail(ErrorCode::SYSTEM, folder.string() + ": " + error.message());
    }
    return {};
}

void LogChanges(const DeviceState& before, const DeviceState& after)
{
    const auto shown = [](const std::string& value) { return value.empty() ? std::string("empty") : value; };
    const std::vector<DeviceStateEntry> old = DescribeDeviceState(before);
    const std::vector<DeviceStateEntry> now = DescribeDeviceState(after);
    for (size_t i = 0; i < now.size(); ++i) {
        if (old[i].value != now[i].value) {
            QuviewDFX::LogInfo(LABEL, "%{public}s: %{public}s, was %{public}s", now[i].key, shown(now[i].value),
                               shown(old[i].value));
        }
    }
}

}  // namespace

Result<std::unique_ptr<SimulatedDevice>> SimulatedDevice::Start(const SimulatedDeviceOptions& options)
{
    sptr<ISystemAbilityManager> registry = options.registry;
    if (!registry) {
        registry = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    }
    if (!registry) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "a simulated device needs a system-ability manager to register its abilities with");
    }
    if (!IsNetworkId(options.networkId)) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "a simulated device's network id must have 4 to 64 letters and digits");
    }
    std::unique_ptr<SimulatedDevice> device(new SimulatedDevice(options, std::move(registry)));
    if (Result<void> begun = device->Begin(); !begun) {
        return Failure(std::move(begun).error());
    }
    return device;
}

SimulatedDevice::SimulatedDevice(const SimulatedDeviceOptions& options, sptr<ISystemAbilityManager> registry)
    : stateDir_(options.stateDir),
      registry_(std::move(registry)),
      air_(options.airDir, options.networkId),
      live_(std::make_shared<LiveState>(options.noAnswerLimit)),
      events_(MakeSptr<EventFwk::CommonEventServer>()),
      coreService_(MakeSptr<SimulatedCoreService>(live_)),
      cellularData_(MakeSptr<SimulatedCellularData>(live_)),
      station_(MakeSptr<SimulatedWifiDevice>(live_, air_, events_, options.searchLimit)),
      hotspot_(MakeSptr<SimulatedHotspot>(live_, air_, options.deviceName)),
      network_(live_, station_)
{
    abilities_ = {
        {COMMON_EVENT_SERVICE_ID, events_, Always},
        {TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID, coreService_, Always},
        {TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID, cellularData_, Always},
        {WIFI_DEVICE_SYS_ABILITY_ID, station_, HasStation},
        {WIFI_HOTSPOT_SYS_ABILITY_ID, hotspot_, HasHotspot},
    };
}

SimulatedDevice::~SimulatedDevice()
{
    Stop();
    for (const Ability& ability : abilities_) {
        if (ability.isRegistered) {
            registry_->RemoveSystemAbility(ability.id);
        }
    }
}

Result<void> SimulatedDevice::Begin()
{
    for (const std::filesystem::path& folder : {stateDir_, air_.Folder()}) {
        if (Result<void> made = MakeFolder(folder); !made) {
            return made;
        }
    }
    // Removes the records that an earlier run left when it ended without Stop().
    air_.Withdraw();
    StationPresence(air_).Remove();
    station_->SetListener([this] {
        hotspot_->OnStateChanged();
        network_.OnStationChanged();
    });
    std::error_code error;
    if (!std::filesystem::exists(stateDir_ / DEVICE_STATE_FILE, error)) {
        if (Result<void> saved = SaveDeviceState(stateDir_, DeviceState{}); !saved) {
            return saved;
        }
    }
    Result<std::unique_ptr<FolderWatcher>> watcher = FolderWatcher::Start(stateDir_, [this](const std::string& name) {
        if (name.empty() || name == DEVICE_STATE_FILE) {
            reloads_.Post([this] { ReloadState(); });
        }
    });
    if (!watcher) {
        return Failure(std::move(watcher).error());
    }
    watcher_ = std::move(watcher.value());
    reloads_.Post([this] {
        if (const std::optional<DeviceState> state = Read()) {
            live_->Replace(*state);
        }
        RegisterAbilities(*live_->Get());
        if (live_->Get()->hotspotActiveAtStart) {
            hotspot_->StartActive();
        }
        hotspot_->OnStateChanged();
    });
    reloads_.Drain();
    return {};
}

void SimulatedDevice::Stop()
{
    if (std::exchange(stopped_, true)) {
        return;
    }
    watcher_.reset();
    live_->Stop();
    coreService_->Stop();
    network_.Stop();
    station_->Stop();
    station_->SetListener({});
    hotspot_->Stop();
    reloads_.Drain();
}

std::optional<DeviceState> SimulatedDevice::Read()
{
    Result<DeviceState> loaded = LoadDeviceState(stateDir_);
    if (loaded) {
        lastError_.clear();
        return std::move(loaded.value());
    }
    if (lastError_ != loaded.error().message) {
        // The error is logged once, because the watcher may report one replacement of the file several times.
        lastError_ = loaded.error().message;
        QuviewDFX::LogError(LABEL, "%{public}s; keeping the previous state", lastError_);
    }
    return std::nullopt;
}

void SimulatedDevice::ReloadState()
{
    const std::shared_ptr<const DeviceState> before = live_->Get();
    const std::optional<DeviceState> next = Read();
    if (!next || *next == *before) {
        return;
    }
    live_->Replace(*next);
    RegisterAbilities(*next);
    hotspot_->OnStateChanged();
    station_->OnStateChanged();
    if (next->leftByHand && !before->leftByHand) {
        LeaveByHand();
    }
    network_.OnStateChanged();
    PublishChanges(*before, *next);
    LogChanges(*before, *next);
}

void SimulatedDevice::LeaveByHand()
{
    const uint32_t attempt = station_->GetLinkInfo().attempt;
    if (const Result<Wifi::LeftNetwork> left = station_->Leave(attempt, LEAVE_LIMIT); !left) {
        QuviewDFX::LogError(LABEL, "%{public}s", left.error().message);
    }
}

void SimulatedDevice::PublishChanges(const DeviceState& before, const DeviceState& after)
{
    const auto publish = [this](const std::string& action) {
        EventFwk::Want want;
        want.SetAction(action);
        events_->PublishCommonEvent(EventFwk::CommonEventData(want));
    };
    if (before.screenOn != after.screenOn) {
        publish(after.screenOn ? CommonEventSupport::COMMON_EVENT_SCREEN_ON
                               : CommonEventSupport::COMMON_EVENT_SCREEN_OFF);
    }
    if (!before.batteryLow && after.batteryLow) {
        publish(CommonEventSupport::COMMON_EVENT_BATTERY_LOW);
    }
}

void SimulatedDevice::RegisterAbilities(const DeviceState& state)
{
    for (Ability& ability : abilities_) {
        const bool isPresent = ability.isPresent(state);
        if (isPresent == ability.isRegistered) {
            continue;
        }
        ability.isRegistered = isPresent;
        if (isPresent) {
            registry_->AddSystemAbility(ability.id, ability.object);
        } else {
            registry_->RemoveSystemAbility(ability.id);
        }
        QuviewDFX::LogInfo(LABEL, "ability %{public}d %{public}s: %{public}s", ability.id, AbilityName(ability.id),
                           isPresent ? "simulated" : "removed");
    }
}

}  // namespace Vexo::Simulated
