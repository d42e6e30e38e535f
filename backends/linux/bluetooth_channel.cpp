#include "backends/linux/bluetooth_channel.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "backends/linux/activity_channel.h"
#include "backends/linux/bluetooth_advertiser.h"
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
// How long a radio link outlives its last use. A request and the wake before it share one.
constexpr milliseconds RADIO_LINK_LINGER{5000};
// BlueZ reports a refused Disconnect within this time, and success only seconds later, which is not awaited.
constexpr milliseconds DISCONNECT_WAIT{100};
// Limits at the end of the channel, which come on top of BLUEZ_END_LIMIT.
constexpr milliseconds LIST_WAIT_AT_END{200};
constexpr milliseconds DISCONNECT_WAIT_AT_END{10};
// Stands for an unknown address. The transport takes it for any adapter.
constexpr const char* ANY_ADDRESS = "00:00:00:00:00:00";

struct Adapter {
    bool isPowered = false;
    bool isBlocked = false;
    bool canAdvertise = false;
    std::string address = ANY_ADDRESS;
    std::string addressType = "public";
};

// The adapter's name ("hci0") in BlueZ's path.
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
          scanner_(bluez_, std::move(isOurs), std::move(heard), timers)
    {
    }

    void Start(const std::string& token);
    void Announce(const std::string& token);
    std::shared_ptr<void> Seek();
    // Call once, before an activity that was started is destroyed.
    void Stop();

private:
    class Seeking;

    void SeekEnded();
    void OnUnused();
    void Subscribe();
    // These run on strand_ only.
    void OnService(bool isThere);
    void OnInterfacesAdded(const std::string& path, const BluezInterfaces& interfaces);
    void OnInterfacesRemoved(const std::string& path, const std::vector<std::string>& interfaces);
    [[nodiscard]] Result<void> ListAdapters();
    // Returns the adapter in use, or the end of the map while no adapter is on.
    std::map<std::string, Adapter>::const_iterator ChooseAdapter() const;
    // Brings advertising and scanning in line with the token, the adapters and the time.
    void Update();
    void UpdateState(const Result<void>& done);
    BluetoothState StateOfAdapters(const Result<void>& done) const;
    // Ends radio links that this device opened and has not used for RADIO_LINK_LINGER.
    void UpdateRadioLinks();
    void EndRadioLinks(const std::set<std::string>& devices);
    void EndRadioLink(const std::string& path);
    void WaitForScanner(milliseconds shortest);
    void RetryLater();
    static Tasks::Timer CallAfter(milliseconds pause, const std::weak_ptr<Activity>& weak, Tasks::Timers& timers,
                                  void (Activity::*work)());
    void Retry();

    const std::shared_ptr<Bus> bus_;
    const std::string adapterName_;  // empty: any
    const std::shared_ptr<BluetoothShared> shared_;
    Tasks::Timers& timers_;
    const uint16_t psm_;
    DaemonCalls bluez_;
    std::atomic<bool> isReady_{false};  // an adapter is on
    std::atomic<int> seekings_{0};      // that live

    // Touched on strand_ only.
    BluetoothAdvertiser advertiser_;
    BluetoothScanner scanner_;
    std::string token_;
    bool isKnown_ = false;  // whether isThere_ has been set by the bus
    bool isThere_ = false;
    bool hasListed_ = false;
    std::map<std::string, Adapter> adapters_;  // by BlueZ's path
    milliseconds pause_{0};
    Tasks::Timer retry_;
    Tasks::Timer scanTimer_;
    std::map<std::string, SteadyTime> lingering_;  // devices (DeviceOf), and when their radio links are due to end
    Tasks::Timer lingerTimer_;
    bool isRetrying_ = false;

    Tasks::Strand strand_;  // own synchronisation
    std::vector<BusSubscription> subscriptions_;
};

void Activity::Start(const std::string& token)
{
    Announce(token);
    Subscribe();
    shared_->SetOnUnused([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->OnUnused();
        }
    });
    OnUnused();  // uses may have ended while there was no channel
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
    subscriptions_.push_back(bus_->OnService(strand_, BLUEZ, [this](bool isThere) { OnService(isThere); }));
}

void Activity::Announce(const std::string& token)
{
    strand_.Post([this, token] {
        token_ = token;
        Update();
    });
}

// A handle: the channel scans while one lives.
class Activity::Seeking : public NoCopyable {
public:
    explicit Seeking(Activity& activity) : activity_(activity.weak_from_this()) { ++activity.seekings_; }
    ~Seeking()
    {
        if (const auto activity = activity_.lock()) {
            activity->SeekEnded();
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
    auto seeking = std::make_shared<Seeking>(*this);
    const bool isPosted = strand_.Post([this] { Update(); });
    return isPosted ? std::move(seeking) : nullptr;
}

void Activity::SeekEnded()
{
    if (--seekings_ == 0 && !strand_.Post([self = shared_from_this()] { self->Update(); })) {
        CallAfter(FIRST_RETRY, weak_from_this(), timers_, &Activity::Update).Detach();
    }
}

void Activity::OnUnused()
{
    if (!strand_.Post([self = shared_from_this()] { self->UpdateRadioLinks(); })) {
        CallAfter(FIRST_RETRY, weak_from_this(), timers_, &Activity::UpdateRadioLinks).Detach();
    }
}

void Activity::OnService(bool isThere)
{
    isKnown_ = true;
    isThere_ = isThere;
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
        WaitForScanner(SHORTEST_PAUSE);
        return;
    }
    const auto properties = interfaces.find(BLUEZ_ADAPTER);
    const bool canAdvertise = interfaces.contains(BLUEZ_ADVERTISING_MANAGER);
    if (!isThere_ || (properties == interfaces.end() && !canAdvertise)) {
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
    Result<void> done;
    if (isThere_ && !hasListed_) {
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
    isReady_ = isUsable;
    const bool advertises = isUsable && adapter->second.canAdvertise && !token_.empty();
    const Result<void> advertised =
        advertiser_.Update(path, advertises ? std::optional(BluetoothServiceData{psm_, token_}) : std::nullopt);
    const Result<void> scanned = scanner_.Update(seekings_ > 0);
    done = !done ? done : !advertised ? advertised : scanned;
    UpdateState(done);
    WaitForScanner(done ? SHORTEST_PAUSE : FIRST_RETRY);
    if (!done) {
        RetryLater();
    } else if (!isRetrying_) {
        pause_ = milliseconds(0);
    }
}

// Sets the state and logs it, if it has changed.
void Activity::UpdateState(const Result<void>& done)
{
    if (psm_ == 0 || bluez_.IsStopped()) {
        return;  // the transport has set the state, or the channel has ended
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
    if (!isThere_) {
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
        // Only the error's name: the rest of the message may repeat what was sent.
        return {{false, "BlueZ refuses to announce this device or to scan, which is tried again: " +
                            BusErrorName(done.error())},
                "journalctl -u bluetooth says why; systemctl restart bluetooth"};
    }
    if (!adapter->second.canAdvertise) {
        return {{false, "the Bluetooth adapter " + NameOf(adapter->first) + " has no Low Energy advertising"},
                "Other devices do not find this one over Bluetooth; another adapter: bluetooth.adapter"};
    }
    return {{true, "Bluetooth announces this device on " + NameOf(adapter->first)}, ""};
}

void Activity::UpdateRadioLinks()
{
    if (bluez_.IsStopped()) {
        return;
    }
    const SteadyTime now = timers_.Now();
    for (const std::string& device : shared_->TakeUnused()) {
        lingering_[device] = now + RADIO_LINK_LINGER;
    }
    std::set<std::string> due;
    std::optional<SteadyTime> next;
    for (auto entry = lingering_.begin(); entry != lingering_.end();) {
        if (entry->second <= now) {
            due.insert(entry->first);
            entry = lingering_.erase(entry);
        } else {
            next = std::min(next.value_or(entry->second), entry->second);
            ++entry;
        }
    }
    EndRadioLinks(due);
    lingerTimer_.Cancel();
    if (next) {
        const auto pause = std::chrono::ceil<milliseconds>(*next - timers_.Now());
        lingerTimer_ =
            CallAfter(std::max(pause, SHORTEST_PAUSE), weak_from_this(), timers_, &Activity::UpdateRadioLinks);
    }
}

// Leaves out a device that is used again, and one that is paired: its links are the user's own.
void Activity::EndRadioLinks(const std::set<std::string>& devices)
{
    const auto adapter = ChooseAdapter();
    const auto isUsed = [this](const std::string& device) { return shared_->IsUsed(device); };
    if (adapter == adapters_.end() || std::all_of(devices.begin(), devices.end(), isUsed)) {
        return;
    }
    const milliseconds limit = bluez_.IsStopped() ? LIST_WAIT_AT_END : BLUEZ_CALL_LIMIT;
    const Result<BluezObjects> objects = bus_->Call<BluezObjects>(BLUEZ_OBJECTS, "GetManagedObjects", limit);
    if (!objects) {
        QuviewDFX::LogInfo(LABEL, "radio links are left: %{public}s", BusErrorName(objects.error()));
        return;
    }
    for (const auto& [path, interfaces] : *objects) {
        const auto found = interfaces.find(BLUEZ_DEVICE);
        if (found == interfaces.end() || !path.starts_with(adapter->first + "/")) {
            continue;
        }
        const PropertyMap& properties = found->second;
        const std::string device =
            ValueIn<std::string>(properties, "Address") + "/" + ValueIn<std::string>(properties, "AddressType");
        if (devices.contains(device) && !isUsed(device) && ValueIn<bool>(properties, "Connected") &&
            !ValueIn<bool>(properties, "Paired")) {
            EndRadioLink(path);
        }
    }
}

void Activity::EndRadioLink(const std::string& path)
{
    const milliseconds limit = bluez_.IsStopped() ? DISCONNECT_WAIT_AT_END : DISCONNECT_WAIT;
    const Result<void> ended = bus_->Call({BLUEZ, path, BLUEZ_DEVICE}, "Disconnect", limit);
    if (!ended && !IsNoAnswer(ended.error())) {
        QuviewDFX::LogInfo(LABEL, "a radio link is left: %{public}s", BusErrorName(ended.error()));
    }
}

void Activity::WaitForScanner(milliseconds shortest)
{
    scanTimer_.Cancel();
    if (const auto next = scanner_.NextUpdate()) {
        const auto pause = std::chrono::ceil<milliseconds>(*next - timers_.Now());
        scanTimer_ = CallAfter(std::max(pause, shortest), weak_from_this(), timers_, &Activity::Update);
    }
}

void Activity::RetryLater()
{
    if (!isThere_ || isRetrying_) {
        return;
    }
    pause_ = std::clamp(pause_ * 2, FIRST_RETRY, LONGEST_RETRY);
    retry_ = CallAfter(pause_, weak_from_this(), timers_, &Activity::Retry);
    isRetrying_ = retry_.IsArmed();
}

void Activity::Retry()
{
    isRetrying_ = false;
    Update();
}

// Runs work on the strand after pause.
Tasks::Timer Activity::CallAfter(milliseconds pause, const std::weak_ptr<Activity>& weak, Tasks::Timers& timers,
                                 void (Activity::*work)())
{
    // CallAfter, not RunAfter: a pool that has no thread would lose the work, and nothing would retry again.
    return timers.CallAfter(pause, [weak, &timers, work] {
        const auto self = weak.lock();
        if (self && !self->strand_.Post([self, work] { ((*self).*work)(); })) {
            CallAfter(FIRST_RETRY, weak, timers, work).Detach();
        }
    });
}

void Activity::Stop()
{
    bluez_.Stop();
    isReady_ = false;
    shared_->SetOnUnused(nullptr);
    subscriptions_.clear();
    const auto end = [this] {
        isThere_ = false;
        retry_.Cancel();
        scanTimer_.Cancel();
        lingerTimer_.Cancel();
        advertiser_.Withdraw();
        scanner_.End();
        std::set<std::string> unused = shared_->TakeUnused();
        for (const auto& [device, due] : lingering_) {
            unused.insert(device);
        }
        EndRadioLinks(unused);
    };
    const bool isPosted = strand_.Post(end);
    strand_.Drain();
    if (!isPosted) {
        end();  // the strand got no thread; it is idle, and later work on it ends at IsStopped
    }
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
