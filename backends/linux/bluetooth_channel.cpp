#include "backends/linux/bluetooth_channel.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backends/linux/activity_channel.h"
#include "backends/linux/bluetooth_advertiser.h"
#include "backends/linux/bluetooth_radio_links.h"
#include "backends/linux/bluetooth_scanner.h"
#include "backends/linux/bluez.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/log.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {
namespace {

using SoftBus::AnnouncementChannel;
using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bluetooth"};
constexpr milliseconds SHORTEST_PAUSE{1};
constexpr milliseconds FIRST_RETRY{1000};
constexpr milliseconds LONGEST_RETRY{60'000};
// The address of an adapter whose address BlueZ has not reported yet. With this address, the transport uses any
// adapter.
constexpr const char* ANY_ADDRESS = "00:00:00:00:00:00";

struct Adapter {
    bool isPowered = false;
    bool isBlocked = false;
    bool canAdvertise = false;
    std::string address = ANY_ADDRESS;
    std::string addressType = "public";
};

// Returns the adapter's name, such as "hci0". path: the adapter's D-Bus path.
std::string NameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

void Apply(const PropertyMap& properties, Adapter& adapter)
{
    adapter.isPowered = ValueIn(properties, "Powered", adapter.isPowered);
    if (properties.contains("PowerState")) {
        adapter.isBlocked = ValueIn<std::string>(properties, "PowerState") == "off-blocked";
    }
    adapter.address = ValueIn(properties, "Address", adapter.address);
    adapter.addressType = ValueIn(properties, "AddressType", adapter.addressType);
}

class Activity : public std::enable_shared_from_this<Activity>, public NoCopyable {
public:
    Activity(const BluetoothOptions& options, std::shared_ptr<BluetoothShared> shared, Tasks::Timers& timers,
             AnnouncementChannel::IsOurs isOurs, AnnouncementChannel::Heard heard)
        : bus_(options.bus),
          adapterName_(options.adapter),
          shared_(std::move(shared)),
          timers_(timers),
          psm_(shared_->Psm()),
          bluez_(bus_, BLUEZ_CALL_LIMIT, BLUEZ_END_LIMIT),
          advertiser_(bluez_, strand_, [this] { RetryLater(); }),
          scanner_(bluez_, std::move(isOurs), std::move(heard), timers),
          radioLinks_(*bus_, shared_, timers)
    {
    }

    void Start(const std::string& token);
    void Announce(const std::string& token);
    std::shared_ptr<void> Seek();
    bool CanAnnounce() const { return canAnnounce_; }
    // Call this once after Start, before the activity is destroyed: queued work uses the activity until Stop returns.
    void Stop();

private:
    class SeekHandle;

    void OnSeekEnded();
    void OnRadioLinkUnused();
    void Subscribe();
    // The following functions run on strand_ only, except CallAfter, which any thread may call.
    void OnServiceOwnerChanged(bool hasOwner);
    void OnInterfacesAdded(const std::string& path, const BluezInterfaces& interfaces);
    void OnInterfacesRemoved(const std::string& path, const std::vector<std::string>& interfaces);
    [[nodiscard]] Result<void> ListAdapters();
    // Returns the adapter in use, or adapters_.end() if no adapter is on.
    std::map<std::string, Adapter>::const_iterator ChooseAdapter() const;
    // Updates the advertisement, the scan, the radio links and the state of Bluetooth. They depend on the token, the
    // adapters, the seek handles and the current time.
    void Update();
    void ClaimUpkeep();
    void UpdateState(const Result<void>& done);
    BluetoothState StateOfAdapters(const Result<void>& done) const;
    // Sets updateTimer_ to the time at which the scanner or the radio links next need Update. shortest: the minimum
    // delay.
    void UpdateLater(milliseconds shortest);
    void RetryLater();
    Tasks::Timer CallAfter(milliseconds pause, void (Activity::*work)());
    void Retry();

    const std::shared_ptr<Bus> bus_;
    const std::string adapterName_;  // empty: any
    const std::shared_ptr<BluetoothShared> shared_;
    Tasks::Timers& timers_;
    const uint16_t psm_;
    DaemonCalls bluez_;
    std::atomic<bool> isReady_{false};  // an adapter is on
    std::atomic<bool> canAnnounce_{false};
    std::atomic<int> seekHandles_{0};  // how many handles exist

    // The following members are used on strand_ only.
    BluetoothAdvertiser advertiser_;
    BluetoothScanner scanner_;
    BluetoothRadioLinks radioLinks_;
    std::shared_ptr<void> upkeep_;  // null: another channel manages the radio links and the state
    std::string token_;
    bool isKnown_ = false;  // whether the bus has reported whether BlueZ runs
    bool isRunning_ = false;
    bool hasListed_ = false;
    std::map<std::string, Adapter> adapters_;  // keyed by D-Bus path
    milliseconds pause_{0};
    Tasks::Timer retry_;
    Tasks::Timer updateTimer_;
    SteadyTime nextUpdate_ = SteadyTime::max();  // when updateTimer_ is due
    bool isRetrying_ = false;

    Tasks::Strand strand_;  // own synchronisation
    std::vector<BusSubscription> subscriptions_;
};

void Activity::Start(const std::string& token)
{
    Announce(token);
    Subscribe();
}

void Activity::ClaimUpkeep()
{
    if (upkeep_ || !(upkeep_ = shared_->ClaimUpkeep())) {
        return;
    }
    shared_->SetOnUnused([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->OnRadioLinkUnused();
        }
    });
}

void Activity::Subscribe()
{
    subscriptions_.push_back(bus_->OnSignal<sdbus::ObjectPath, BluezInterfaces>(
        strand_, BLUEZ_OBJECTS, "InterfacesAdded",
        [this](const std::string&, const sdbus::ObjectPath& path, const BluezInterfaces& interfaces) {
            OnInterfacesAdded(path, interfaces);
        }));
    subscriptions_.push_back(bus_->OnSignal<sdbus::ObjectPath, std::vector<std::string>>(
        strand_, BLUEZ_OBJECTS, "InterfacesRemoved",
        [this](const std::string&, const sdbus::ObjectPath& path, const std::vector<std::string>& interfaces) {
            OnInterfacesRemoved(path, interfaces);
        }));
    subscriptions_.push_back(bus_->OnPropertiesChanged(strand_, {BLUEZ, "", BLUEZ_ADAPTER},
                                                       [this](const std::string& path, const PropertyMap& changed) {
                                                           OnInterfacesAdded(path, {{BLUEZ_ADAPTER, changed}});
                                                       }));
    subscriptions_.push_back(bus_->OnPropertiesChanged(strand_, {BLUEZ, "", BLUEZ_DEVICE},
                                                       [this](const std::string& path, const PropertyMap& changed) {
                                                           OnInterfacesAdded(path, {{BLUEZ_DEVICE, changed}});
                                                       }));
    subscriptions_.push_back(
        bus_->OnService(strand_, BLUEZ, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); }));
}

void Activity::Announce(const std::string& token)
{
    strand_.Post([this, token] {
        token_ = token;
        Update();
    });
}

// The handle that Seek returns. The channel scans while at least one handle exists.
class Activity::SeekHandle : public NoCopyable {
public:
    explicit SeekHandle(Activity& activity) : activity_(activity.weak_from_this()) { ++activity.seekHandles_; }
    ~SeekHandle()
    {
        if (const auto activity = activity_.lock()) {
            activity->OnSeekEnded();
        }
    }

private:
    const std::weak_ptr<Activity> activity_;
};

std::shared_ptr<void> Activity::Seek()
{
    if (!isReady_) {
        return nullptr;
    }
    auto handle = std::make_shared<SeekHandle>(*this);
    const bool isPosted = strand_.Post([this] { Update(); });
    return isPosted ? std::move(handle) : nullptr;
}

void Activity::OnSeekEnded()
{
    if (--seekHandles_ == 0 && !strand_.Post([self = shared_from_this()] { self->Update(); })) {
        CallAfter(FIRST_RETRY, &Activity::Update).Detach();
    }
}

void Activity::OnRadioLinkUnused()
{
    if (!strand_.Post([self = shared_from_this()] { self->Update(); })) {
        CallAfter(FIRST_RETRY, &Activity::Update).Detach();
    }
}

void Activity::OnServiceOwnerChanged(bool hasOwner)
{
    isKnown_ = true;
    isRunning_ = hasOwner;
    hasListed_ = false;
    pause_ = milliseconds(0);
    adapters_.clear();
    advertiser_.Reset();
    scanner_.Reset();
    Update();
}

Result<void> Activity::ListAdapters()
{
    const Result<BluezObjects> objects = bluez_.Call<BluezObjects>(BLUEZ_OBJECTS, "GetManagedObjects");
    if (!objects) {
        return Failure(objects.error());
    }
    hasListed_ = true;
    for (const auto& [path, interfaces] : *objects) {
        if (const auto adapter = interfaces.find(BLUEZ_ADAPTER); adapter != interfaces.end()) {
            Apply(adapter->second, adapters_[path]);
            adapters_[path].canAdvertise = interfaces.contains(BLUEZ_ADVERTISING_MANAGER);
        }
    }
    return {};
}

void Activity::OnInterfacesAdded(const std::string& path, const BluezInterfaces& interfaces)
{
    if (const auto device = interfaces.find(BLUEZ_DEVICE); device != interfaces.end()) {
        scanner_.OnProperties(path, device->second);
        UpdateLater(SHORTEST_PAUSE);
        return;
    }
    const auto properties = interfaces.find(BLUEZ_ADAPTER);
    const bool canAdvertise = interfaces.contains(BLUEZ_ADVERTISING_MANAGER);
    if (!isRunning_ || (properties == interfaces.end() && !canAdvertise)) {
        return;
    }
    Adapter& adapter = adapters_[path];
    adapter.canAdvertise = adapter.canAdvertise || canAdvertise;
    if (properties != interfaces.end()) {
        Apply(properties->second, adapter);
    }
    Update();
}

void Activity::OnInterfacesRemoved(const std::string& path, const std::vector<std::string>& interfaces)
{
    const auto isGone = [&](const char* interface) {
        return std::find(interfaces.begin(), interfaces.end(), interface) != interfaces.end();
    };
    if (isGone(BLUEZ_DEVICE)) {
        scanner_.OnRemoved(path);
    } else if (isGone(BLUEZ_ADAPTER)) {
        adapters_.erase(path);
        Update();
    }
}

std::map<std::string, Adapter>::const_iterator Activity::ChooseAdapter() const
{
    return std::find_if(adapters_.begin(), adapters_.end(), [this](const auto& entry) {
        return entry.second.isPowered && (adapterName_.empty() || NameOf(entry.first) == adapterName_);
    });
}

void Activity::Update()
{
    if (!isKnown_ || bluez_.IsStopped()) {
        return;
    }
    ClaimUpkeep();
    Result<void> done;
    if (isRunning_ && !hasListed_) {
        done = ListAdapters();
    }
    const auto adapter = ChooseAdapter();
    const bool isUsable = psm_ != 0 && adapter != adapters_.end();
    const std::string path = isUsable ? adapter->first : "";
    if (isUsable) {
        shared_->SetAdapter(ParseBluetoothAddress(adapter->second.address + "/" + adapter->second.addressType + "/" +
                                                  std::to_string(FIRST_PSM))
                                .value_or(BluetoothAddress()));
    }
    scanner_.UseAdapter(path);
    radioLinks_.UseAdapter(upkeep_ ? path : "");
    isReady_ = isUsable;
    canAnnounce_ = isUsable && adapter->second.canAdvertise;
    const bool advertises = canAnnounce_ && !token_.empty();
    const Result<void> advertised =
        advertiser_.Update(path, advertises ? std::optional(BluetoothServiceData{psm_, token_}) : std::nullopt);
    const Result<void> scanned = scanner_.Update(seekHandles_ > 0);
    if (upkeep_) {
        radioLinks_.Update();
    }
    done = !done ? done : !advertised ? advertised : scanned;
    UpdateState(done);
    UpdateLater(done ? SHORTEST_PAUSE : FIRST_RETRY);
    if (!done) {
        RetryLater();
    } else if (!isRetrying_) {
        pause_ = milliseconds(0);
    }
}

// Sets and logs the state of Bluetooth if the state has changed. done: the result of Update's calls to BlueZ.
void Activity::UpdateState(const Result<void>& done)
{
    if (psm_ == 0 || !upkeep_ || bluez_.IsStopped()) {
        return;  // the transport or another channel sets the state, or the channel has ended
    }
    BluetoothState state = StateOfAdapters(done);
    if (shared_->State() == state) {
        return;
    }
    if (state.advice.empty()) {
        QuviewDFX::LogInfo(LABEL, "%{public}s", state.presence.reason);
    } else {
        QuviewDFX::LogWarn(LABEL, "%{public}s", state.presence.reason);
    }
    shared_->SetState(std::move(state));
}

BluetoothState Activity::StateOfAdapters(const Result<void>& done) const
{
    if (!isRunning_) {
        return {{false, "BlueZ does not run: no device is found over Bluetooth"},
                "apt install bluez, or: systemctl start bluetooth"};
    }
    const auto named = std::find_if(adapters_.begin(), adapters_.end(), [this](const auto& entry) {
        return adapterName_.empty() || NameOf(entry.first) == adapterName_;
    });
    const auto adapter = ChooseAdapter();
    if (named == adapters_.end() && done) {
        return {{false, "there is no Bluetooth adapter" + (adapterName_.empty() ? "" : " " + adapterName_)},
                "Needs a Bluetooth adapter with Low Energy: bluetoothctl list"};
    }
    if (adapter == adapters_.end() && named != adapters_.end()) {
        const bool isBlocked = named->second.isBlocked;
        return {{true, isBlocked ? "Bluetooth is blocked" : "Bluetooth is switched off", true, isBlocked},
                "Switch it on: rfkill unblock bluetooth; bluetoothctl power on"};
    }
    if (!done) {
        // The text contains only the error's name, because error messages may repeat a call's arguments.
        return {{false, "BlueZ refuses to announce this device or to scan; retrying: " + BusErrorName(done.error())},
                "journalctl -u bluetooth says why; systemctl restart bluetooth"};
    }
    if (!adapter->second.canAdvertise) {
        return {{false, "the Bluetooth adapter " + NameOf(adapter->first) + " has no Low Energy advertising"},
                "Other devices do not find this one over Bluetooth; another adapter: bluetooth.adapter"};
    }
    return {{true, "Bluetooth announces this device on " + NameOf(adapter->first)}, ""};
}

void Activity::UpdateLater(milliseconds shortest)
{
    constexpr SteadyTime NEVER = SteadyTime::max();
    const SteadyTime wanted = std::min(scanner_.NextUpdate().value_or(NEVER), radioLinks_.NextUpdate().value_or(NEVER));
    const SteadyTime now = timers_.Now();
    const SteadyTime next = wanted == NEVER ? NEVER : std::max(wanted, now + shortest);
    if (updateTimer_.IsArmed() && next == nextUpdate_ && next > now) {
        return;
    }
    nextUpdate_ = next;
    updateTimer_.Cancel();
    if (next != NEVER) {
        updateTimer_ = CallAfter(std::chrono::ceil<milliseconds>(next - now), &Activity::Update);
    }
}

void Activity::RetryLater()
{
    if (!isRunning_ || isRetrying_) {
        return;
    }
    pause_ = std::clamp(pause_ * 2, FIRST_RETRY, LONGEST_RETRY);
    retry_ = CallAfter(pause_, &Activity::Retry);
    isRetrying_ = retry_.IsArmed();
}

void Activity::Retry()
{
    isRetrying_ = false;
    Update();
}

Tasks::Timer Activity::CallAfter(milliseconds pause, void (Activity::*work)())
{
    return CallOnStrandAfter(timers_, pause, weak_from_this(), &Activity::strand_, work);
}

void Activity::Stop()
{
    bluez_.Stop();
    isReady_ = false;
    canAnnounce_ = false;
    subscriptions_.clear();
    EndOnStrand(strand_, [this] {
        isRunning_ = false;
        retry_.Cancel();
        updateTimer_.Cancel();
        advertiser_.Withdraw();
        scanner_.End();
        if (upkeep_) {
            shared_->SetOnUnused(nullptr);
            radioLinks_.End();
            upkeep_.reset();
        }
    });
}

class BluetoothChannel final : public ActivityChannel<Activity> {
public:
    BluetoothChannel(BluetoothOptions options, std::shared_ptr<BluetoothShared> shared, Tasks::Timers& timers)
        : options_(std::move(options)), shared_(std::move(shared)), timers_(timers)
    {
    }

    std::string Name() const override { return "bluetooth"; }
    std::string TransportName() const override { return "bluetooth"; }

    Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) override
    {
        const auto activity =
            std::make_shared<Activity>(options_, shared_, timers_, std::move(isOurs), std::move(heard));
        activity->Start(token);
        Exchange(activity);
        return {};
    }

    std::shared_ptr<void> Seek() override
    {
        const MutexLock lock(mutex_);
        return activity_ ? activity_->Seek() : nullptr;
    }

private:
    const BluetoothOptions options_;
    const std::shared_ptr<BluetoothShared> shared_;
    Tasks::Timers& timers_;
};

}  // namespace

std::unique_ptr<SoftBus::AnnouncementChannel> MakeBluetoothChannel(const BluetoothOptions& options,
                                                                   std::shared_ptr<BluetoothShared> shared,
                                                                   Tasks::Timers& timers)
{
    return std::make_unique<BluetoothChannel>(options, std::move(shared), timers);
}

}  // namespace Vexo::Linux
