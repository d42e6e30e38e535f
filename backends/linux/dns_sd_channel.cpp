#include "backends/linux/dns_sd_channel.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>
#include <vector>

#include "backends/linux/activity_channel.h"
#include "backends/linux/avahi.h"
#include "backends/linux/dns_sd_browser.h"
#include "backends/linux/dns_sd_publisher.h"
#include "backends/linux/lan_addresses.h"
#include "platform/base/host_port.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/log.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {
namespace {

using SoftBus::AnnouncementChannel;
using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "DnsSd"};
constexpr milliseconds FIRST_RETRY{1000};
constexpr milliseconds LONGEST_RETRY{60'000};

class Activity : public std::enable_shared_from_this<Activity>, public NoCopyable {
public:
    Activity(std::shared_ptr<Bus> bus, HostPort listening, AnnouncementChannel::IsOurs isOurs,
             AnnouncementChannel::Heard heard, Tasks::Timers& timers)
        : bus_(std::move(bus)),
          timers_(timers),
          avahi_(bus_, AVAHI_CALL_LIMIT, AVAHI_END_LIMIT),
          publisher_(avahi_, std::move(listening)),
          browser_(
              avahi_, [this](const std::string& instance) { return publisher_.IsOwn(instance); }, std::move(isOurs),
              std::move(heard))
    {
    }

    [[nodiscard]] Result<void> Start(const std::string& token);
    void Announce(const std::string& token);
    bool CanAnnounce() const { return canAnnounce_; }
    // Call this once after Start, before the activity is destroyed: queued work uses the activity until Stop returns.
    void Stop();

private:
    void SubscribeToBrowsers();
    // The following functions run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    void OnGroupChanged(const std::string& path, int32_t state, const std::string& error);
    // Updates the publication and the browser, so that they match the token and this machine's addresses.
    void Update();
    void RetryUnless(const Result<void>& done);
    void RetryLater();

    // PostOrLog may be called on any thread.
    void PostOrLog(Tasks::Work work, const char* purpose);
    // Retry runs on strand_ only.
    void Retry();

    const std::shared_ptr<Bus> bus_;
    Tasks::Timers& timers_;
    DaemonCalls avahi_;
    std::atomic<bool> canAnnounce_{false};  // Avahi runs, and there is an address to announce

    // The following members are used on strand_ only.
    DnsSdPublisher publisher_;
    DnsSdBrowser browser_;
    bool isRunning_ = false;
    bool hasLoggedFailure_ = false;
    bool isRetrying_ = false;  // a retry is scheduled
    milliseconds pause_{0};
    Tasks::Timer retry_;

    Tasks::Strand strand_;  // own synchronisation
    std::vector<BusSubscription> subscriptions_;
    std::unique_ptr<LanWatcher> lanWatcher_;
};

Result<void> Activity::Start(const std::string& token)
{
    auto watcher =
        LanWatcher::Start([this] { PostOrLog([this] { Update(); }, "announce this machine's changed addresses"); });
    if (!watcher) {
        return Failure(watcher.error());
    }
    lanWatcher_ = std::move(watcher).value();
    Announce(token);
    // The subscriptions are made before any call, because Avahi sends signals of an object as soon as the object
    // exists.
    subscriptions_.push_back(
        bus_->OnSignal<int32_t, std::string>(strand_, {AVAHI, "", AVAHI_ENTRY_GROUP}, "StateChanged",
                                             [this](const std::string& path, int32_t state, const std::string& error) {
                                                 OnGroupChanged(path, state, error);
                                             }));
    SubscribeToBrowsers();
    subscriptions_.push_back(
        bus_->OnService(strand_, AVAHI, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); }));
    return {};
}

void Activity::SubscribeToBrowsers()
{
    const BusObject browser{AVAHI, "", AVAHI_SERVICE_BROWSER};
    const BusObject resolver{AVAHI, "", AVAHI_SERVICE_RESOLVER};
    using Text = std::string;
    const auto onItem = [this](const char* signal, auto handler) {
        subscriptions_.push_back(bus_->OnSignal<int32_t, int32_t, Text, Text, Text, uint32_t>(
            strand_, {AVAHI, "", AVAHI_SERVICE_BROWSER}, signal,
            [this, handler](const Text& path, int32_t interface, int32_t protocol, const Text& instance, const Text&,
                            const Text&, uint32_t) {
                RetryUnless((browser_.*handler)(path, {{instance, interface}, protocol}));
            }));
    };
    onItem("ItemNew", &DnsSdBrowser::OnItemNew);
    onItem("ItemRemove", &DnsSdBrowser::OnItemRemove);
    subscriptions_.push_back(
        bus_->OnSignal<Text>(strand_, browser, "Failure", [this](const Text& path, const Text& error) {
            browser_.OnBrowserFailure(path);
            RetryUnless(Fail(ErrorCode::REFUSED, error));
        }));
    subscriptions_.push_back(bus_->OnSignal<>(strand_, browser, "AllForNow", [this](const Text& path) {
        browser_.OnAllForNow(path);
        Update();
    }));
    using Record = std::vector<std::vector<uint8_t>>;
    subscriptions_.push_back(
        bus_->OnSignal<int32_t, int32_t, Text, Text, Text, Text, int32_t, Text, uint16_t, Record, uint32_t>(
            strand_, resolver, "Found",
            [this](const Text& path, int32_t, int32_t, const Text&, const Text&, const Text&, const Text&, int32_t,
                   const Text& address, uint16_t port, const Record&,
                   uint32_t) { RetryUnless(browser_.OnResolved(path, address, port)); }));
    subscriptions_.push_back(bus_->OnSignal<Text>(strand_, resolver, "Failure", [this](const Text& path, const Text&) {
        RetryUnless(browser_.OnResolved(path, "", 0));
    }));
}

void Activity::Announce(const std::string& token)
{
    PostOrLog(
        [this, token] {
            publisher_.SetToken(token);
            Update();
        },
        "announce this device's new token");
}

void Activity::OnServiceOwnerChanged(bool hasOwner)
{
    isRunning_ = hasOwner;
    canAnnounce_ = false;
    pause_ = milliseconds(0);
    publisher_.Reset();
    browser_.Reset();
    if (hasOwner) {
        QuviewDFX::LogInfo(LABEL, "Avahi runs: devices nearby are found through it");
    } else {
        QuviewDFX::LogWarn(LABEL, "Avahi is not running: devices nearby are not found automatically");
    }
    Update();
}

void Activity::OnGroupChanged(const std::string& path, int32_t state, const std::string& error)
{
    switch (publisher_.OnStateChanged(path, state, error)) {
        case DnsSdPublisher::Outcome::NOTHING:
            break;
        case DnsSdPublisher::Outcome::UPDATE_NOW:
            Update();
            break;
        case DnsSdPublisher::Outcome::UPDATE_LATER:
            RetryLater();
            break;
    }
}

void Activity::Update()
{
    // IsStopped is checked before isRunning_, because Stop writes isRunning_ on another thread if the strand has no
    // thread.
    if (avahi_.IsStopped() || !isRunning_) {
        return;
    }
    const auto lan = ListLanAddresses();
    if (!lan) {
        RetryUnless(Failure(lan.error()));
        return;
    }
    const Result<void> published = publisher_.Update(lan.value());
    canAnnounce_ = published && publisher_.HasAddress(lan.value());
    const Result<void> browsed = browser_.Update(lan.value());
    RetryUnless(published ? browsed : published);
    // The pause is reset only if nothing is pending, because a pending publication or browser may still fail.
    if (published && browsed && !publisher_.IsPending() && !browser_.IsPending()) {
        hasLoggedFailure_ = false;
        pause_ = milliseconds(0);
    }
}

void Activity::RetryUnless(const Result<void>& done)
{
    if (done || avahi_.IsStopped()) {
        return;
    }
    if (!std::exchange(hasLoggedFailure_, true)) {
        QuviewDFX::LogWarn(LABEL, "searching for devices nearby failed; retrying: %{public}s", done.error().message);
    }
    RetryLater();
}

void Activity::RetryLater()
{
    if (!isRunning_ || isRetrying_) {
        return;
    }
    pause_ = std::clamp(pause_ * 2, FIRST_RETRY, LONGEST_RETRY);
    retry_ = CallOnStrandAfter(timers_, pause_, weak_from_this(), &Activity::strand_, &Activity::Retry);
    isRetrying_ = retry_.IsArmed();
}

void Activity::PostOrLog(Tasks::Work work, const char* purpose)
{
    if (!strand_.Post(std::move(work))) {
        QuviewDFX::LogWarn(LABEL, "no thread to %{public}s", purpose);
    }
}

void Activity::Retry()
{
    isRetrying_ = false;
    Update();
}

void Activity::Stop()
{
    avahi_.Stop();
    subscriptions_.clear();
    lanWatcher_.reset();
    EndOnStrand(strand_, [this] {
        isRunning_ = false;
        retry_.Cancel();
        publisher_.Withdraw();
        browser_.End();
    });
}

class DnsSdChannel final : public ActivityChannel<Activity> {
public:
    DnsSdChannel(std::string listening, std::shared_ptr<Bus> bus, Tasks::Timers& timers)
        : listening_(std::move(listening)), bus_(std::move(bus)), timers_(timers)
    {
    }

    std::string Name() const override { return "dns-sd"; }

    Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) override
    {
        Result<HostPort> listening = ParseHostPort(listening_);
        if (!listening) {
            return Failure(listening.error());
        }
        const auto activity = std::make_shared<Activity>(bus_ ? bus_ : Bus::Open(), std::move(listening).value(),
                                                         std::move(isOurs), std::move(heard), timers_);
        if (Result<void> started = activity->Start(token); !started) {
            return started;
        }
        Exchange(activity);
        return {};
    }

private:
    const std::string listening_;
    const std::shared_ptr<Bus> bus_;  // null: Start opens a connection
    Tasks::Timers& timers_;
};

}  // namespace

std::unique_ptr<SoftBus::AnnouncementChannel> MakeDnsSdChannel(const std::string& listening, std::shared_ptr<Bus> bus,
                                                               Tasks::Timers& timers)
{
    return std::make_unique<DnsSdChannel>(listening, std::move(bus), timers);
}

}  // namespace Vexo::Linux
