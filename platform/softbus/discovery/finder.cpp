#include "platform/softbus/discovery/finder.h"

#include <algorithm>
#include <utility>

#include "platform/base/check.h"
#include "platform/dfx/guard.h"
#include "platform/softbus/account/state_exchange.h"
#include "platform/softbus/discovery/hello.h"
#include "platform/softbus/discovery/route.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

// A configured address (option softbus.peers) at which no device has answered yet.
struct Finder::Configured {
    Configured(asio::io_context& reactor, PeerAddress place) : where(std::move(place)), timer(reactor) {}

    const PeerAddress where;
    asio::steady_timer timer;
    std::chrono::milliseconds pause{0};
    bool isReported = false;  // the failure at this address was logged
};

// A greeting that has not started yet. The greeting starts when fewer than MAX_GREETINGS run.
struct Finder::Task {
    std::string networkId;  // the wanted device; empty: any device of the account except this one
    std::string idPrefix;   // see DialRequest::idPrefix
    // Returns the addresses to try. Called when the greeting is about to start. If there are no addresses and the
    // member seeks is false, the greeting is skipped.
    std::function<std::vector<Route>()> routes;
    Greeting::Done done;
    GreetingKind kind = GreetingKind::HELLO;
    std::chrono::milliseconds limit = GREETING_LIMIT;
    bool seeks = false;
};

Finder::Finder(ReactorContext& context)
    : context_(context), scanSeekTimer_(*context.reactor), scanTimer_(*context.reactor)
{
}

Finder::~Finder() = default;

// --- the configuration's addresses ---

void Finder::AddConfigured(const PeerAddress& where)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const auto& own = context_.ownHello.addresses;
    const bool isPresent = std::any_of(configured_.begin(), configured_.end(),
                                       [&](const ConfiguredPtr& other) { return other->where == where; });
    if (!isPresent && std::find(own.begin(), own.end(), where) == own.end()) {
        GreetConfigured(*configured_.insert(std::make_shared<Configured>(*context_.reactor, where)).first);
    }
}

void Finder::GreetConfigured(const ConfiguredPtr& configured)
{
    Greet({.networkId = {},
           .idPrefix = {},
           .routes = [configured] { return std::vector<Route>{{configured->where}}; },
           .done =
               [this, configured](const GreetingResult& result) {
                   if (result.isGreeted || result.dial.isThisDevice) {
                       configured_.erase(configured);
                   } else {
                       ConfiguredFailed(configured, result);
                   }
               }});
}

void Finder::ConfiguredFailed(const ConfiguredPtr& configured, const GreetingResult& result)
{
    if (!std::exchange(configured->isReported, true)) {
        QuviewDFX::LogInfo(LOG_SOFTBUS, "no device of this account at %{public}s yet: %{public}s",
                           configured->where.address, result.dial.why);
    }
    const bool isStranger = result.dial.end == LinkEnd::REFUSED;
    configured->pause = std::clamp(2 * configured->pause, isStranger ? FIRST_STRANGER_PAUSE : FIRST_RETRY_PAUSE,
                                   isStranger ? LAST_STRANGER_PAUSE : LAST_RETRY_PAUSE);
    configured->timer.expires_after(configured->pause);
    configured->timer.async_wait([this, configured](const asio::error_code& error) {
        if (!error && !stopped_) {
            GreetConfigured(configured);
        }
    });
}

// --- announcements ---

void Finder::OnAnnouncement(const std::string& channel, const std::string& name,
                            const std::optional<Announcement>& announcement)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    std::optional<Announcement> usable = announcement;
    if (usable) {
        std::erase_if(usable->addresses, [this](const PeerAddress& address) {
            const Transport* transport = context_.FindTransport(address.transport);
            return transport == nullptr || !transport->CheckAddress(address.address);
        });
    }
    const auto owner = context_.sightings.Set(channel, name, usable);
    if (!owner) {
        return;
    }
    for (const auto& dial : std::set<std::shared_ptr<Dial>>(context_.dials)) {
        dial->AddNewAddresses();
    }
    const std::string networkId = context_.devices.FindByPrefix(owner->idPrefix);
    if (networkId.empty() && !context_.account.IsRemoved(owner->idPrefix)) {
        GreetStranger(owner->idPrefix);
    } else if (!networkId.empty()) {
        context_.UpdateReachability(networkId);
        // The device made its token with the previous link key, so the device may not have the current link key yet.
        // The greeting sends the account's state to the device.
        if (owner->isOfPreviousKey && context_.exchange != nullptr && context_.exchange->IsBehind(networkId)) {
            GreetDevice(networkId, false, [] {});
        }
    }
}

// Greets a device that announces itself with a token of the account and is not known yet. Only one greeting of a device
// runs at a time. That greeting also tries addresses that the device announces later. No greeting tries an address at
// which a handshake failed recently (Sightings::IsAvoided).
void Finder::GreetStranger(const std::string& idPrefix)
{
    if (!greetedStrangers_.insert(idPrefix).second) {
        return;
    }
    Greet({.networkId = {},
           .idPrefix = idPrefix,
           .routes =
               [this, idPrefix] {
                   std::vector<Route> routes;
                   if (context_.devices.FindByPrefix(idPrefix).empty()) {
                       routes = RoutesTo(context_, idPrefix);
                   }
                   std::erase_if(
                       routes, [&](const Route& route) { return context_.sightings.IsAvoided(idPrefix, route.where); });
                   return routes;
               },
           .done =
               [this, idPrefix](const GreetingResult&) {
                   greetedStrangers_.erase(idPrefix);
                   EndScanIfDone();
               }});
}

void Finder::DropOldAnnouncements()
{
    context_.sightings.DropOld();
    for (const Node& node : context_.devices.List()) {
        context_.UpdateReachability(node.networkId);
    }
}

// --- known devices ---

void Finder::GreetKnownDevices()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    for (const Node& node : context_.devices.List()) {
        GreetDevice(node.networkId, false, [] {});
    }
}

void Finder::PassStateOn()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    for (const Node& node : context_.devices.List()) {
        if (!stopped_ && context_.IsReachable(node.networkId) && context_.exchange->IsBehind(node.networkId)) {
            GreetDevice(node.networkId, false, [] {});
        }
    }
}

void Finder::GreetDevice(const std::string& networkId, bool seeks, std::function<void()> done)
{
    auto& callers = greetedDevices_[networkId];
    callers.push_back(std::move(done));
    if (callers.size() > 1) {
        return;
    }
    Greet({.networkId = networkId,
           .idPrefix = networkId,
           .routes = [this, networkId] { return RoutesTo(context_, networkId); },
           .done =
               [this, networkId](const GreetingResult& result) {
                   // A device that refused the connection can be reached, so it is not marked as away.
                   if (!result.isGreeted && result.dial.wasTried && result.dial.end != LinkEnd::REFUSED) {
                       MarkAway(context_, networkId, result.dial.took);
                   }
                   const auto waiting = greetedDevices_.extract(networkId);
                   for (const auto& caller : waiting.mapped()) {
                       caller();
                   }
               },
           .seeks = seeks});
}

void Finder::Scan(std::function<void()> done)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    scanDone_.push_back(std::move(done));
    if (scanDone_.size() > 1) {
        return;
    }
    ++scanLeft_;
    const auto ended = [this] {
        --scanLeft_;
        EndScanIfDone();
    };
    scanSeeking_ = context_.seek ? context_.seek() : nullptr;
    if (scanSeeking_) {
        ++scanLeft_;
        scanSeekTimer_.expires_after(SCAN_SEEK);
        scanSeekTimer_.async_wait([ended](const asio::error_code&) { ended(); });
    }
    for (const Node& node : context_.devices.List()) {
        ++scanLeft_;
        GreetDevice(node.networkId, context_.CanSeek({}), ended);
    }
    for (const std::string& idPrefix : context_.sightings.AnnouncedIdPrefixes()) {
        GreetStranger(idPrefix);
    }
    scanTimer_.expires_after(SCAN_LIMIT);
    scanTimer_.async_wait([this](const asio::error_code& error) {
        if (!error && scanTimer_.expiry() <= Clock::System().Now()) {
            ScanEnded();
        }
    });
    ended();
}

void Finder::EndScanIfDone()
{
    const bool awaitsStrangers = scanSeeking_ && !greetedStrangers_.empty();
    if (scanLeft_ == 0 && !awaitsStrangers) {
        ScanEnded();
    }
}

void Finder::ScanEnded()
{
    scanSeeking_.reset();
    scanSeekTimer_.cancel();
    scanTimer_.cancel();
    for (const auto& done : std::exchange(scanDone_, {})) {
        done();
    }
}

// --- greetings ---

void Finder::Greet(Task task)
{
    waiting_.push_back(std::move(task));
    StartNext();
}

void Finder::StartNext()
{
    while (!waiting_.empty() && running_.size() < MAX_GREETINGS) {
        const Task task = std::move(waiting_.front());
        waiting_.pop_front();
        if (!task.seeks && task.routes().empty()) {
            task.done({});
            continue;
        }
        const auto slot = std::make_shared<std::weak_ptr<Greeting>>();
        const auto greeting = std::make_shared<Greeting>(context_, task.kind, [=, this](const GreetingResult& result) {
            running_.erase(slot->lock());
            task.done(result);
            StartNext();
        });
        *slot = greeting;
        running_.insert(greeting);
        const auto start = [&] {
            const auto seekingLimit = task.seeks ? std::optional(task.limit) : std::nullopt;
            greeting->Start({task.networkId, task.idPrefix, task.routes, task.limit, seekingLimit});
        };
        if (!QuviewDFX::RunGuarded(LOG_SOFTBUS, "a greeting", start)) {
            running_.erase(greeting);
            task.done({});
        }
    }
}

// --- stop ---

void Finder::Stop(std::function<void()> done)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    if (std::exchange(stopped_, true)) {
        return;
    }
    for (const ConfiguredPtr& configured : std::exchange(configured_, {})) {
        configured->timer.cancel();
    }
    waiting_.clear();
    for (const auto& greeting : std::exchange(running_, {})) {
        greeting->Cancel();
    }
    ScanEnded();
    greetedDevices_.clear();
    const auto left = std::make_shared<size_t>(1);
    const auto ended = [left, done = std::move(done)] {
        if (--*left == 0) {
            done();
        }
    };
    for (const Node& node : context_.devices.List()) {
        if (node.online && *left <= MAX_GOODBYES) {
            ++*left;
            Greet({.networkId = node.networkId,
                   .idPrefix = node.networkId,
                   .routes = [this, id = node.networkId] { return RoutesTo(context_, id); },
                   .done = [ended](const GreetingResult&) { ended(); },
                   .kind = GreetingKind::GOODBYE,
                   .limit = GOODBYE_LIMIT});
        }
    }
    ended();
}

}  // namespace Vexo::SoftBus
