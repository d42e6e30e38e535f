#include "host/account_link.h"

#include <utility>

#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/trust/identity_checks.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "AccountLink"};

}  // namespace

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
    return facts_;
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
    if (Facts().softBus) {
        return;
    }
    auto watcher = FolderWatcher::Start(options_.identityFolder, [this](const std::string&) { OnFolderChanged(); });
    if (!watcher) {
        options_.say(watcher.error().message + "; restart the daemon once this device is enrolled");
        return;
    }
    {
        const MutexLock lock(mutex_);
        watcher_ = std::move(watcher.value());
    }
    // The folder may have changed since Start.
    OnFolderChanged();
}

void AccountLink::OnFolderChanged()
{
    const MutexLock lock(mutex_);
    check_ = Tasks::Timers::System().RunAfter(
        QUIET, [self = shared_from_this()] { self->strand_.Post([self] { self->CheckIdentity(); }); });
}

void AccountLink::CheckIdentity()
{
    {
        const MutexLock lock(mutex_);
        if (isStopping_ || facts_.softBus) {
            return;
        }
        isTakingOver_ = true;
    }
    bool isEnrolled = false;
    QuviewDFX::RunGuarded(LABEL, "taking over the enrolment", [&] { isEnrolled = TakeOver(); });
    // Declared before the lock, and so destroyed after it is released: its callback takes the lock.
    std::unique_ptr<FolderWatcher> watcher;
    const MutexLock lock(mutex_);
    isTakingOver_ = false;
    takeOverEnded_.NotifyAll();
    if (isEnrolled) {
        watcher.swap(watcher_);
    }
}

bool AccountLink::TakeOver()
{
    const Result<Trust::Identity> identity = Trust::LoadIdentity(options_.identityFolder);
    if (!identity || !identity.value().Enrolled()) {
        SayWhatIsMissing();
        if (identity) {
            const MutexLock lock(mutex_);
            facts_.networkId = identity.value().networkId;
        }
        return false;
    }
    if (const Result<void> started = StartAbilities(identity.value()); !started) {
        options_.say("this device is enrolled, but has no link to other devices: " + started.error().message +
                     ". Restart the daemon once that is repaired");
        return false;
    }
    options_.enrolled();
    return true;
}

Result<void> AccountLink::StartAbilities(const Trust::Identity& identity)
{
    auto softBus = SoftBus::SoftBusServer::Start(identity, options_.softBus);
    if (!softBus) {
        return Failure(std::move(softBus).error());
    }
    options_.abilities->AddSystemAbility(SOFTBUS_SERVER_SA_ID, softBus.value());
    // It creates a session server, for which the soft bus (4700) must be registered.
    auto collaboration = CollaborationFwk::CollaborationServer::Start(
        options_.softBus.moreTransports.empty() ? CollaborationFwk::COLLABORATION_START_LIMIT
                                                : CollaborationFwk::COLLABORATION_SEEKING_START_LIMIT);
    if (!collaboration) {
        options_.abilities->RemoveSystemAbility(SOFTBUS_SERVER_SA_ID);
        softBus.value()->Stop();
        return Failure(std::move(collaboration).error());
    }
    const auto deviceManager = MakeSptr<DistributedHardware::DeviceManagerServer>(softBus.value());
    {
        const MutexLock lock(mutex_);
        facts_ = {identity.networkId, identity.accountName, softBus.value()};
        deviceManager_ = deviceManager;
        collaboration_ = collaboration.value();
    }
    options_.abilities->AddSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, deviceManager);
    options_.abilities->AddSystemAbility(COLL_FWK_SA_ID, collaboration.value());
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
        return;  // the enrolment was completed since it was loaded; the watcher reports this change
    }
    const std::string missing = "no link to other devices yet: " + wrong.message + ". " + wrong.advice;
    if (std::exchange(lastMissing_, missing) != missing) {
        options_.say(missing);
    }
}

void AccountLink::Stop(SteadyTime deadline)
{
    sptr<SoftBus::SoftBusServer> softBus;
    sptr<DistributedHardware::DeviceManagerServer> deviceManager;
    sptr<CollaborationFwk::CollaborationServer> collaboration;
    {
        const MutexLock lock(mutex_);
        isStopping_ = true;
        while (isTakingOver_ && takeOverEnded_.WaitUntil(mutex_, deadline)) {
        }
        softBus = facts_.softBus;
        deviceManager = deviceManager_;
        collaboration = collaboration_;
    }
    if (!softBus) {
        return;
    }
    collaboration->Stop();
    options_.abilities->RemoveSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    deviceManager->Shutdown();
    softBus->Stop();
}

}  // namespace Vexo::Host
