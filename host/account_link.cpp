#include "host/account_link.h"

#include <future>
#include <utility>

#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/membership.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "AccountLink"};

// Returns a text for comparisons: the parts of the identity that the soft bus uses.
std::string IdentityDigestOf(const Trust::Identity& identity)
{
    const auto seconds = [](auto time) { return std::to_string(time.time_since_epoch().count()); };
    return identity.networkId + identity.accountName + seconds(identity.CertificateExpiry()) +
           (identity.state ? identity.state->Digest() : "") +
           (identity.linkKeys ? Trust::FingerprintOf(identity.linkKeys->current) : "") +
           (identity.removedAt ? seconds(*identity.removedAt) : "") + (identity.holdsAccountKey ? "+" : "-");
}

LinkFacts FactsOf(const Trust::Identity& identity, sptr<SoftBus::SoftBusServer> softBus)
{
    return {identity.networkId, identity.accountName,     std::move(softBus),          identity.state,
            identity.removedAt, identity.holdsAccountKey, identity.CertificateExpiry()};
}

}  // namespace

std::string LinkFacts::NameOf(const std::string& otherNetworkId) const
{
    if (state) {
        const Trust::Member* member = state->State().FindMember(otherNetworkId);
        return member != nullptr ? member->name : "";
    }
    for (const SoftBus::Node& node : softBus ? softBus->Nodes() : std::vector<SoftBus::Node>()) {
        if (node.networkId == otherNetworkId) {
            return node.deviceName;
        }
    }
    return "";
}

std::vector<KnownDevice> LinkFacts::Devices() const
{
    using namespace std::chrono;
    std::vector<KnownDevice> devices;
    for (const SoftBus::Node& node : softBus ? softBus->Nodes() : std::vector<SoftBus::Node>()) {
        devices.push_back({node.deviceName, static_cast<DeviceType>(node.deviceTypeId), node.networkId, node.deviceId,
                           node.online, sys_seconds(seconds(node.lastSeenMs / 1000)), node.transport, node.address,
                           node.clockAhead.value_or(milliseconds(0))});
    }
    return devices;
}

std::string LinkFacts::OwnName() const
{
    const Trust::Member* self = state ? state->State().FindMember(networkId) : nullptr;
    return self != nullptr ? self->name : "";
}

AccountLink::AccountLink(AccountLinkOptions options) : options_(std::move(options))
{
    facts_.networkId = options_.networkId;
}

std::shared_ptr<AccountLink> AccountLink::Make(AccountLinkOptions options)
{
    return std::shared_ptr<AccountLink>(new AccountLink(std::move(options)));
}

LinkFacts AccountLink::Facts() const
{
    const MutexLock lock(mutex_);
    LinkFacts facts = facts_;
    if (facts.softBus && !facts.removedAt) {
        facts.removedAt = facts.softBus->RemovedAt();
    }
    return facts;
}

Result<void> AccountLink::Start()
{
    const Result<Trust::Identity> identity = Trust::LoadIdentity(options_.identityFolder);
    if (identity && identity.value().Enrolled()) {
        return StartAbilities(identity.value());
    }
    SayWhatIsMissing();
    return {};
}

void AccountLink::Watch()
{
    auto watcher = FolderWatcher::Start(options_.identityFolder, [this](const std::string&) { OnFolderChanged(); });
    if (!watcher) {
        options_.say(watcher.error().message + "; restart the daemon once this device's account has changed");
        return;
    }
    {
        const MutexLock lock(mutex_);
        watcher_ = std::move(watcher.value());
    }
    // The folder may have changed after Start read it and before the watcher ran, so check the folder now.
    OnFolderChanged();
}

void AccountLink::OnFolderChanged()
{
    const MutexLock lock(mutex_);
    check_ = Tasks::Timers::System().RunAfter(QUIET, [self = shared_from_this()] {
        self->strand_.Post([self] { self->RunOnStrand("reading the identity", [self] { self->CheckIdentity(); }); });
    });
}

void AccountLink::RunOnStrand(const char* what, const std::function<void()>& work)
{
    {
        const MutexLock lock(mutex_);
        if (isStopping_) {
            return;
        }
        isWorking_ = true;
    }
    QuviewDFX::RunGuarded(LABEL, what, work);
    const MutexLock lock(mutex_);
    isWorking_ = false;
    workEnded_.NotifyAll();
}

void AccountLink::Refresh()
{
    const auto done = std::make_shared<std::promise<void>>();
    const bool isPosted = strand_.Post([self = shared_from_this(), done] {
        self->RunOnStrand("reading the identity", [self] { self->CheckIdentity(); });
        done->set_value();
    });
    if (isPosted) {
        done->get_future().wait();
    }
}

void AccountLink::RefreshSoon()
{
    strand_.Post(
        [self = shared_from_this()] { self->RunOnStrand("reading the identity", [self] { self->CheckIdentity(); }); });
}

void AccountLink::CheckIdentity()
{
    if (Facts().softBus) {
        ApplyIdentityChange();
    } else {
        StartIfEnrolled();
    }
}

void AccountLink::StartIfEnrolled()
{
    const Result<Trust::Identity> identity = Trust::LoadIdentity(options_.identityFolder);
    if (!identity || !identity.value().Enrolled()) {
        SayWhatIsMissing();
        if (identity) {
            const MutexLock lock(mutex_);
            facts_.networkId = identity.value().networkId;
        }
        return;
    }
    if (const Result<void> started = StartAbilities(identity.value()); !started) {
        options_.say("this device is enrolled, but has no link to other devices: " + started.error().message +
                     ". Restart the daemon once that is repaired");
        return;
    }
    options_.enrolled();
}

// Passes a changed identity to the soft bus. Ignores a damaged enrolment, and an enrolment with another network id. In
// both cases the soft bus keeps its current identity, and `distnetctl doctor` says what to do.
void AccountLink::ApplyIdentityChange()
{
    Result<Trust::Identity> identity = Trust::LoadIdentity(options_.identityFolder);
    LinkFacts known;
    {
        const MutexLock lock(mutex_);
        known = facts_;
    }
    if (!identity || !identity.value().Enrolled() || identity.value().networkId != known.networkId) {
        return;
    }
    std::string version = IdentityDigestOf(identity.value());
    const bool isNewlyRemoved = identity.value().removedAt && !known.removedAt;
    {
        const MutexLock lock(mutex_);
        if (used_ == version) {
            return;
        }
        facts_ = FactsOf(identity.value(), known.softBus);
        used_ = std::move(version);
    }
    if (isNewlyRemoved) {
        options_.say("this device was removed from the account on " + DateOf(*identity.value().removedAt));
    }
    known.softBus->UseIdentity(std::move(identity.value()));
    ReportState();
}

void AccountLink::ReportState()
{
    const LinkFacts facts = Facts();
    if (facts.state) {
        options_.stateUsed(facts.state->State(), facts.networkId);
    }
}

Result<void> AccountLink::Leave()
{
    const auto done = std::make_shared<std::promise<Result<void>>>();
    const bool isPosted = strand_.Post([self = shared_from_this(), done] {
        Result<void> result = Fail(ErrorCode::UNAVAILABLE, "the daemon ends");
        self->RunOnStrand("leaving the account", [&] { result = self->LeaveNow(); });
        done->set_value(std::move(result));
    });
    return isPosted ? done->get_future().get() : Fail(ErrorCode::SYSTEM, "no thread is left");
}

Result<void> AccountLink::LeaveNow()
{
    if (Result<void> left = Trust::LeaveAccount(options_.identityFolder); !left) {
        return left;
    }
    StopAbilities(false);
    std::error_code ignored;  // the file may not exist
    std::filesystem::remove(options_.softBus.knownDevicesFile, ignored);
    Result<Trust::Identity> fresh = Trust::LoadOrCreateUnenrolled(options_.identityFolder);
    if (!fresh) {
        return Failure(std::move(fresh).error());
    }
    {
        const MutexLock lock(mutex_);
        facts_ = {};
        facts_.networkId = fresh.value().networkId;
        lastMissing_.clear();
    }
    options_.left();
    return {};
}

Result<void> AccountLink::StartAbilities(const Trust::Identity& identity)
{
    SoftBus::SoftBusOptions options = options_.softBus;
    options.identityFolder = options_.identityFolder;
    options.identityChanged = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->RefreshSoon();
        }
    };
    auto softBus = SoftBus::SoftBusServer::Start(identity, std::move(options));
    if (!softBus) {
        return Failure(std::move(softBus).error());
    }
    options_.abilities->AddSystemAbility(SOFTBUS_SERVER_SA_ID, softBus.value());
    // The collaboration framework creates a session server, for which the soft bus (4700) must already be registered.
    auto collaboration = CollaborationFwk::CollaborationServer::Start(
        options_.softBus.moreTransports.empty() ? CollaborationFwk::COLLABORATION_START_LIMIT
                                                : CollaborationFwk::COLLABORATION_SEEKING_START_LIMIT,
        Tasks::Timers::System(), options_.softBus.policy);
    if (!collaboration) {
        options_.abilities->RemoveSystemAbility(SOFTBUS_SERVER_SA_ID);
        softBus.value()->Stop();
        return Failure(std::move(collaboration).error());
    }
    const auto deviceManager = MakeSptr<DistributedHardware::DeviceManagerServer>(softBus.value());
    {
        const MutexLock lock(mutex_);
        facts_ = FactsOf(identity, softBus.value());
        used_ = IdentityDigestOf(identity);
        deviceManager_ = deviceManager;
        collaboration_ = collaboration.value();
    }
    options_.abilities->AddSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, deviceManager);
    options_.abilities->AddSystemAbility(COLL_FWK_SA_ID, collaboration.value());
    options_.linkStarted();
    strand_.Post([self = shared_from_this()] {
        self->RunOnStrand("using the account's state", [self] { self->ReportState(); });
    });
    return {};
}

void AccountLink::SayWhatIsMissing()
{
    std::error_code unknown;
    if (!std::filesystem::exists(options_.identityFolder, unknown)) {
        return;  // the folder is being replaced
    }
    const Trust::IdentityChecks found = Trust::CheckIdentity(options_.identityFolder, Clock::System().WallNow());
    const QuviewDFX::HealthCheck& wrong = found.identity.good.value_or(true) ? found.account : found.identity;
    if (wrong.good.value_or(true)) {
        return;  // the enrolment was completed after the folder was read; the watcher reports that change
    }
    const std::string missing = "no link to other devices yet: " + wrong.message + ". " + wrong.advice;
    if (std::exchange(lastMissing_, missing) != missing) {
        options_.say(missing);
    }
}

void AccountLink::StopAbilities(bool forGood)
{
    sptr<SoftBus::SoftBusServer> softBus;
    sptr<DistributedHardware::DeviceManagerServer> deviceManager;
    sptr<CollaborationFwk::CollaborationServer> collaboration;
    {
        const MutexLock lock(mutex_);
        softBus = facts_.softBus;
        deviceManager = deviceManager_;
        collaboration = collaboration_;
        if (!forGood) {
            facts_.softBus = nullptr;
            deviceManager_ = nullptr;
            collaboration_ = nullptr;
        }
    }
    if (!softBus) {
        return;
    }
    options_.linkStopping();
    collaboration->Stop();
    options_.abilities->RemoveSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    deviceManager->Shutdown();
    if (!forGood) {
        options_.abilities->RemoveSystemAbility(COLL_FWK_SA_ID);
        options_.abilities->RemoveSystemAbility(SOFTBUS_SERVER_SA_ID);
    }
    softBus->Stop();
}

void AccountLink::Stop(SteadyTime deadline)
{
    {
        const MutexLock lock(mutex_);
        isStopping_ = true;
        while (isWorking_ && workEnded_.WaitUntil(mutex_, deadline)) {
        }
    }
    StopAbilities(true);
}

}  // namespace Vexo::Host
