#include "host/sharing/sharing.h"

#include <optional>
#include <utility>

#include "host/sharing/share_events.h"
#include "host/sharing/share_facts.h"
#include "host/sharing/share_leases.h"
#include "host/sharing/share_policy.h"
#include "host/sharing/share_time.h"
#include "host/sharing/share_usage.h"
#include "host/sharing/sharing_file.h"
#include "platform/base/mutex.h"
#include "platform/dfx/log.h"
#include "platform/dfx/log_limit.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {
namespace {

using SoftBus::PeerRefusal;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Sharing"};
constexpr std::chrono::seconds BATTERY_LIFE{60};
constexpr std::chrono::minutes SAVE_PAUSE{1};  // pause between writes if only byte counts have changed

class SharingImpl final : public Sharing, public std::enable_shared_from_this<SharingImpl> {
public:
    explicit SharingImpl(SharingOptions options)
        : options_(std::move(options)),
          timers_(*options_.timers),
          refusals_(timers_),
          file_(options_.stateDir / SHARING_FILE)
    {
        const SharingRecord record = file_.Load();
        policy_.emplace(options_.settings, record, Now());
        usage_.emplace(options_.settings.monthFirstDay, record, Now());
        savedBytes_ = usage_->MonthBytes();
    }

    void Begin()
    {
        if (options_.settings.batteryFloorPercent > 0) {
            Post([](SharingImpl& self) { self.RefreshBattery(); });
        }
        options_.share->SetListener([weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->PostHotspotUpdate();
            }
        });
        PostHotspotUpdate();
    }

    PeerRefusal Admit(const std::string& networkId) override EXCLUDES(mutex_);
    DeviceFacts FactsFor(const std::string& networkId) override EXCLUDES(mutex_);
    LeaseAnswer OnLease(const std::string& networkId, const LeaseRequest& request) override EXCLUDES(mutex_);
    ReleaseAnswer OnRelease(const std::string& networkId, const ReleaseRequest& request) override
    {
        return {EndUse(networkId, request.macAddress, LeaseEnd::RELEASED)};
    }
    void OnMemberRemoved(const std::string& networkId) override EXCLUDES(mutex_);
    ShareStatus Status() override EXCLUDES(mutex_);
    ShareChange Decide(const std::string& networkId, ShareDecision decision) override EXCLUDES(mutex_);
    void Stop() override EXCLUDES(mutex_);

private:
    ShareTime Now() const { return {timers_.BootNow(), timers_.WallNow()}; }
    // Runs the given function on the strand, with this object as the argument, unless sharing has stopped. Returns the
    // result of Strand::Post.
    bool Post(std::function<void(SharingImpl&)> work);
    Tasks::Timer PostAfter(std::chrono::milliseconds delay, void (SharingImpl::*work)());
    void PostHotspotUpdate() EXCLUDES(mutex_);
    void PostAsk(const std::string& networkId);
    SteadyTime::duration BatteryAge(const ShareTime& now) const REQUIRES(mutex_) { return now.boot - batteryReadAt_; }
    ShareResources Resources(const ShareTime& now) REQUIRES(mutex_);

    void RefreshBattery() EXCLUDES(mutex_);
    void ReadHotspot() EXCLUDES(mutex_);
    const char* WhyClose(const ShareTime& now) REQUIRES(mutex_);
    // Ends the device's use of the hotspot. Returns true if the hotspot is off, or will close because no other device
    // uses it.
    bool EndUse(const std::string& networkId, const std::string& macAddress, const char* reason) EXCLUDES(mutex_);
    Result<void> Save() EXCLUDES(mutex_, fileMutex_);  // also logs its first failure

    // ---- The following functions run on the strand.
    void UpdateHotspot() EXCLUDES(mutex_);
    void CloseReleased() EXCLUDES(mutex_);
    void Close(const char* reason);

    const SharingOptions options_;
    Tasks::Timers& timers_;
    QuviewDFX::LogLimit<std::string> refusals_;  // keyed by network id
    bool hasCloseFailed_ = false;                // used on the strand only

    // Lock readMutex_ or fileMutex_ before mutex_.
    Mutex readMutex_;  // held while a state of the hotspot is read and applied, so that states are applied in order
    Mutex fileMutex_;  // held while a record is made and written, so that records are written in order
    SharingFile file_ GUARDED_BY(fileMutex_);
    bool hasSaveFailed_ GUARDED_BY(fileMutex_) = false;

    Mutex mutex_;
    std::optional<SharePolicy> policy_ GUARDED_BY(mutex_);  // policy_ and usage_ always have a value after construction
    std::optional<ShareUsage> usage_ GUARDED_BY(mutex_);
    ShareLeases leases_ GUARDED_BY(mutex_){options_.settings.closesAfter};
    Wifi::ShareInfo info_ GUARDED_BY(mutex_);
    Network::Battery battery_ GUARDED_BY(mutex_);
    SteadyTime batteryReadAt_ GUARDED_BY(mutex_){};
    uint64_t savedBytes_ GUARDED_BY(mutex_) = 0;
    SteadyTime savedAt_ GUARDED_BY(mutex_){};
    bool isUpdatePosted_ GUARDED_BY(mutex_) = false;
    bool isStopped_ GUARDED_BY(mutex_) = false;
    Tasks::Timer updateTimer_ GUARDED_BY(mutex_);
    Tasks::Timer releaseTimer_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
};

// ---- Admitting devices

PeerRefusal SharingImpl::Admit(const std::string& networkId)
{
    const ShareTime now = Now();
    MutexLock lock(mutex_);
    const ShareResources has = Resources(now);
    const bool isBatteryOld = BatteryAge(now) > BATTERY_LIFE;
    if (isStopped_) {
        return policy_->Check(networkId, now, has);
    }
    const SharePolicy::Verdict verdict = policy_->OnRequest(networkId, now, has);
    if (verdict.refusal == PeerRefusal::NONE) {
        leases_.OnAdmitted(networkId, now.boot);
    }
    lock.Unlock();
    if (isBatteryOld && options_.settings.batteryFloorPercent > 0) {
        Post([](SharingImpl& self) { self.RefreshBattery(); });
    }
    if (verdict.refusal != PeerRefusal::NONE && refusals_.Admit(networkId)) {
        Post([networkId, why = verdict.refusal](SharingImpl&) { ReportShareRefused(networkId, why); });
    }
    if (verdict.hasOpenedQuestion) {
        PostAsk(networkId);
    }
    return verdict.refusal;
}

void SharingImpl::PostAsk(const std::string& networkId)
{
    Post([networkId](SharingImpl& self) {
        const std::string name = self.options_.nameOf(networkId);
        QuviewDFX::LogInfo(LABEL, "\"%{public}s\" asks to use this device's network", name);
        ReportShareAsked(networkId);
        self.Save();
        self.options_.asked(networkId, name);
    });
}

// Returns the resources that sharing consumes. A battery level older than BATTERY_LIFE counts as unknown.
ShareResources SharingImpl::Resources(const ShareTime& now)
{
    usage_->OnTime(now);
    return {BatteryAge(now) <= BATTERY_LIFE ? battery_ : Network::Battery{}, usage_->MonthBytes()};
}

DeviceFacts SharingImpl::FactsFor(const std::string& networkId)
{
    const Network::Uplink uplink = options_.network->CurrentUplink();
    RefreshBattery();
    const SharingObstacle obstacle = options_.obstacle();
    const ShareTime now = Now();
    const MutexLock lock(mutex_);
    return MakeFacts(uplink, battery_, obstacle, policy_->Check(networkId, now, Resources(now)));
}

void SharingImpl::RefreshBattery()
{
    const Network::Battery battery = options_.network->CurrentBattery();
    const MutexLock lock(mutex_);
    battery_ = battery;
    batteryReadAt_ = timers_.BootNow();
}

// ---- Leases

LeaseAnswer SharingImpl::OnLease(const std::string& networkId, const LeaseRequest& request)
{
    ReadHotspot();
    const ShareTime now = Now();
    MutexLock lock(mutex_);
    if (!info_.isOn || isStopped_) {
        return {};
    }
    const PeerRefusal refusal = policy_->Check(networkId, now, Resources(now));
    if (refusal != PeerRefusal::NONE) {
        const bool isByOwner = policy_->CheckResources(Resources(now)) != refusal;
        const bool hadLease = leases_.Has(networkId);
        lock.Unlock();
        if (isByOwner && hadLease) {
            EndUse(networkId, request.macAddress, LeaseEnd::DENIED);
        }
        return {};
    }
    const ShareLeases::Renewal renewal = leases_.Renew(networkId, request.macAddress, now);
    if (renewal == ShareLeases::Renewal::TOO_MANY || renewal == ShareLeases::Renewal::LATE) {
        return {};
    }
    policy_->OnLeaseBegan(networkId);
    lock.Unlock();
    if (renewal == ShareLeases::Renewal::BEGUN) {
        ReportLeaseBegan(networkId);
        PostHotspotUpdate();
    }
    return {true};
}

bool SharingImpl::EndUse(const std::string& networkId, const std::string& macAddress, const char* reason)
{
    ReadHotspot();
    const SteadyTime now = timers_.BootNow();
    MutexLock lock(mutex_);
    const ShareLeases::Ended ended = leases_.End(networkId, macAddress, now);
    policy_->OnShareEnded(networkId);
    const bool isClosing =
        info_.isOn && info_.isOpenedHere && ended.wasKnown && !isStopped_ && leases_.IsUnused(info_, now);
    if (isClosing) {
        releaseTimer_ = PostAfter(RELEASE_PAUSE, &SharingImpl::CloseReleased);
    }
    const bool isOff = !info_.isOn;
    lock.Unlock();
    if (ended.hadLease) {
        ReportLeaseEnded(networkId, reason);
    }
    return isClosing || isOff;
}

void SharingImpl::OnMemberRemoved(const std::string& networkId)
{
    EndUse(networkId, "", LeaseEnd::REMOVED);
    {
        const MutexLock lock(mutex_);
        policy_->Forget(networkId);
    }
    Post([](SharingImpl& self) { self.Save(); });
}

// ---- Reading the hotspot's state

bool SharingImpl::Post(std::function<void(SharingImpl&)> work)
{
    return strand_.Post([weak = weak_from_this(), work = std::move(work)] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        {
            const MutexLock lock(self->mutex_);
            if (self->isStopped_) {
                return;
            }
        }
        work(*self);
    });
}

Tasks::Timer SharingImpl::PostAfter(std::chrono::milliseconds delay, void (SharingImpl::*work)())
{
    return timers_.RunAfter(delay, [weak = weak_from_this(), work] {
        if (const auto self = weak.lock()) {
            self->Post([work](SharingImpl& sharing) { (sharing.*work)(); });
        }
    });
}

void SharingImpl::PostHotspotUpdate()
{
    {
        const MutexLock lock(mutex_);
        if (std::exchange(isUpdatePosted_, true)) {
            return;
        }
    }
    if (!Post([](SharingImpl& self) { self.UpdateHotspot(); })) {
        const MutexLock lock(mutex_);
        isUpdatePosted_ = false;
    }
}

void SharingImpl::ReadHotspot()
{
    const MutexLock readLock(readMutex_);
    Wifi::ShareInfo info = options_.share->ReadState();
    const ShareTime now = Now();
    std::vector<ShareLeases::EndedLease> ended;
    {
        const MutexLock lock(mutex_);
        info_ = std::move(info);
        usage_->OnHotspotState(info_, now);
        ended = leases_.OnHotspotState(info_, now.boot);
        for (const ShareLeases::EndedLease& lease : ended) {
            policy_->OnShareEnded(lease.networkId);
        }
    }
    for (const ShareLeases::EndedLease& lease : ended) {
        ReportLeaseEnded(lease.networkId, lease.reason);
    }
}

void SharingImpl::UpdateHotspot()
{
    {
        const MutexLock lock(mutex_);
        isUpdatePosted_ = false;
    }
    ReadHotspot();
    bool needsBattery = false;
    {
        const MutexLock lock(mutex_);
        needsBattery = info_.isOn && options_.settings.batteryFloorPercent > 0 &&
                       BatteryAge(Now()) > BATTERY_LIFE - SHARE_UPDATE_INTERVAL;
    }
    if (needsBattery) {
        RefreshBattery();
    }
    const ShareTime now = Now();
    const char* reason = nullptr;
    bool needsSave = false;
    {
        const MutexLock lock(mutex_);
        reason = WhyClose(now);
        needsSave = usage_->MonthBytes() != savedBytes_ && now.boot - savedAt_ >= SAVE_PAUSE;
        updateTimer_ =
            info_.isOn && !isStopped_ ? PostAfter(SHARE_UPDATE_INTERVAL, &SharingImpl::UpdateHotspot) : Tasks::Timer();
    }
    if (needsSave) {
        Save();
    }
    if (reason != nullptr) {
        Close(reason);
    }
}

const char* SharingImpl::WhyClose(const ShareTime& now)
{
    if (!info_.isOn || !info_.isOpenedHere) {
        return nullptr;
    }
    switch (policy_->CheckResources(Resources(now))) {
        case PeerRefusal::BATTERY_FLOOR:
            return Wifi::ShareClosed::BATTERY_FLOOR;
        case PeerRefusal::DATA_LIMIT:
            return Wifi::ShareClosed::DATA_LIMIT;
        default:
            return leases_.IsUnusedLongEnough(now.boot) ? Wifi::ShareClosed::LEASE_ENDED : nullptr;
    }
}

// Closes the hotspot if the daemon opened it and no device uses it. Runs RELEASE_PAUSE after a device's release, so
// another device may have joined in the meantime.
void SharingImpl::CloseReleased()
{
    ReadHotspot();
    bool isUnused = false;
    {
        const MutexLock lock(mutex_);
        isUnused = info_.isOn && info_.isOpenedHere && leases_.IsUnused(info_, timers_.BootNow());
    }
    if (isUnused) {
        Close(Wifi::ShareClosed::RELEASED);
    }
}

void SharingImpl::Close(const char* reason)
{
    const Result<void> closed = options_.share->Close(reason);
    if (!closed && !hasCloseFailed_) {
        QuviewDFX::LogWarn(LABEL, "cannot close the hotspot (%{public}s), so it stays open: %{public}s", reason,
                           closed.error().message);
    }
    hasCloseFailed_ = !closed;
}

// ---- Functions for programs of this device

ShareStatus SharingImpl::Status()
{
    ReadHotspot();
    const ShareTime now = Now();
    ShareStatus status;
    {
        const MutexLock lock(mutex_);
        usage_->OnTime(now);
        status.isOn = info_.isOn;
        status.isOpenedHere = info_.isOpenedHere;
        status.users = leases_.Users(usage_->Stations());
        status.requests = policy_->Questions(now);
        status.rules = policy_->Rules(now);
        status.monthBytes = usage_->MonthBytes();
        status.monthBegan = BeginningOf(usage_->MonthDay());
    }
    const SharingSettings& settings = options_.settings;
    status.allow = settings.allow;
    status.batteryFloorPercent = settings.batteryFloorPercent;
    status.closesAfter = settings.closesAfter;
    if (settings.monthLimitMb != 0) {
        status.monthLimitBytes = settings.monthLimitMb * BYTES_OF_MB;
    }
    const auto fillInNames = [this](auto& devices) {
        for (auto& device : devices) {
            device.deviceName = device.networkId.empty() ? "" : options_.nameOf(device.networkId);
        }
    };
    fillInNames(status.users);
    fillInNames(status.requests);
    fillInNames(status.rules);
    return status;
}

ShareChange SharingImpl::Decide(const std::string& networkId, ShareDecision decision)
{
    const std::string name = options_.nameOf(networkId);
    if (name.empty()) {
        return {ShareFault{ShareFaultCode::UNKNOWN_DEVICE, "no device of the account has that id",
                           "`distnetctl devices` lists them"}};
    }
    bool isDone = false;
    {
        const MutexLock lock(mutex_);
        isDone = policy_->Decide(networkId, decision, Now());
        if (leases_.Has(networkId)) {
            policy_->OnLeaseBegan(networkId);
        }
    }
    if (!isDone && decision == ShareDecision::DENY) {
        return {ShareFault{ShareFaultCode::NOT_ASKED, "\"" + name + "\" has no open question",
                           "`distnetctl share requests` lists the open ones"}};
    }
    if (!isDone) {
        return {ShareFault{
            ShareFaultCode::FAILED,
            std::to_string(MAX_SHARE_DEVICES) + " devices have a rule already, and no more can be stored", ""}};
    }
    ReportShareDecided(networkId, decision);
    if (decision == ShareDecision::NEVER) {
        EndUse(networkId, "", LeaseEnd::DENIED);
    }
    if (const Result<void> saved = Save(); !saved) {
        return {ShareFault{ShareFaultCode::FAILED,
                           "the decision is in effect, but only until the daemon ends: " + saved.error().message, ""}};
    }
    return {};
}

Result<void> SharingImpl::Save()
{
    const MutexLock file(fileMutex_);
    SharingRecord record;
    {
        const ShareTime now = Now();
        const MutexLock lock(mutex_);
        policy_->Store(record, now);
        usage_->Store(record);
        savedBytes_ = record.monthBytes;
        savedAt_ = now.boot;
    }
    Result<void> saved = file_.Save(record);
    if (!saved && !std::exchange(hasSaveFailed_, true)) {
        QuviewDFX::LogWarn(LABEL, "%{public}s; rules, questions and byte counts are lost at a restart",
                           saved.error().message);
    }
    hasSaveFailed_ = !saved;
    return saved;
}

void SharingImpl::Stop()
{
    {
        const MutexLock lock(mutex_);
        if (isStopped_) {
            return;
        }
        isStopped_ = true;
        updateTimer_ = Tasks::Timer();
        releaseTimer_ = Tasks::Timer();
    }
    options_.share->SetListener({});
    strand_.Drain();
    ReadHotspot();
    Save();
}

}  // namespace

std::shared_ptr<Sharing> Sharing::Start(SharingOptions options)
{
    auto sharing = std::make_shared<SharingImpl>(std::move(options));
    sharing->Begin();
    return sharing;
}

}  // namespace Vexo::Host
