// AccountLink: owns the abilities that connect this device with the others of its account: the soft bus (4700), the
// device manager (4802) and the collaboration framework (70635). If the device is enrolled, they start with the daemon.
// AccountLink watches the identity folder: it starts them as soon as the folder holds a complete enrolment, and gives
// the soft bus what changes in the folder later. This runs on a strand of the shared pool and costs nothing while the
// folder does not change. Call Start, Watch and Stop once each, in this order. Other functions: any thread, not from
// the callbacks. Next: account_operations.h.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/base/clock.h"
#include "platform/base/folder_watcher.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/collaboration/collaboration_server.h"
#include "platform/device_manager/device_manager_server.h"
#include "platform/softbus/softbus_server.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"
#include "platform/trust/identity.h"

namespace Vexo::Host {

// Who this device is to others. Changes with the identity folder.
struct LinkFacts {
    std::string networkId;
    std::string accountName;                              // empty before enrolment
    sptr<SoftBus::SoftBusServer> softBus;                 // null before enrolment
    Trust::SignedStatePtr state;                          // null when not known
    std::optional<std::chrono::sys_seconds> removedAt{};  // when the account removed this device
    bool holdsAccountKey = false;
    std::optional<WallTime> certificateEnd{};  // no value before enrolment

    // The name that the account has for this device; empty when not known.
    std::string OwnName() const;
    // The known devices of the account, those online first; none before enrolment.
    std::vector<KnownDevice> Devices() const;
    // The name of another device of the account; empty: none has that network id.
    std::string NameOf(const std::string& otherNetworkId) const;
};

struct AccountLinkOptions {
    std::filesystem::path identityFolder;  // must exist and hold the device's key
    std::string networkId;                 // the network id of that key
    SoftBus::SoftBusOptions softBus;
    sptr<SystemAbilityManager> abilities;
    // Receives one line for a person. Called on the thread that calls Start or Watch, and later on the strand.
    std::function<void(const std::string& line)> say;
    // Called when the abilities have been registered, and before they stop. On the thread that calls Start or Stop, or
    // on the strand.
    std::function<void()> linkStarted;
    std::function<void()> linkStopping;
    // Called when the device was enrolled while the daemon runs, after the abilities are registered; and when it has
    // left its account. On the strand.
    std::function<void()> enrolled;
    std::function<void()> left;
    // Called with the account's state and this device's network id when the link has started, and when the identity
    // has changed. On the strand; may block.
    std::function<void(const Trust::AccountState& state, const std::string& networkId)> stateUsed;
};

class AccountLink : public NoCopyable, public std::enable_shared_from_this<AccountLink> {
public:
    // The folder is read when it has not changed for this long, so that a file is not read while it is being copied.
    static constexpr std::chrono::milliseconds QUIET{200};

    static std::shared_ptr<AccountLink> Make(AccountLinkOptions options);

    // Starts the abilities if the device is enrolled; otherwise says what is missing and what to do, and succeeds.
    // Blocks on the disk. The error says which ability could not be started and why.
    [[nodiscard]] Result<void> Start();
    // Begins to watch the identity folder. Does not block.
    void Watch();
    // Uses what the identity folder holds now. Blocks until that is done, or until the daemon stops.
    void Refresh() EXCLUDES(mutex_);
    // The same without waiting.
    void RefreshSoon() EXCLUDES(mutex_);
    // Removes account and key of this device, stops the abilities, and makes a new key. Blocks as Stop.
    [[nodiscard]] Result<void> Leave() EXCLUDES(mutex_);
    // Stops what was started. If an enrolment is being taken over, waits for its end until the deadline. Then blocks
    // for as long as SoftBusServer::Stop.
    void Stop(SteadyTime deadline);

    LinkFacts Facts() const EXCLUDES(mutex_);

private:
    explicit AccountLink(AccountLinkOptions options);
    void OnFolderChanged() EXCLUDES(mutex_);
    // Runs work on the strand, unless Stop was called; Stop waits for its end.
    void RunOnStrand(const char* what, const std::function<void()>& work) EXCLUDES(mutex_);
    // These run on the strand.
    void CheckIdentity() EXCLUDES(mutex_);
    void TakeOver() EXCLUDES(mutex_);
    void UseChanged() EXCLUDES(mutex_);
    [[nodiscard]] Result<void> LeaveNow() EXCLUDES(mutex_);
    void ReportState() EXCLUDES(mutex_);

    [[nodiscard]] Result<void> StartAbilities(const Trust::Identity& identity) EXCLUDES(mutex_);
    // Stops what StartAbilities started and forgets it; for good at the daemon's end.
    void StopAbilities(bool forGood) EXCLUDES(mutex_);
    void SayWhatIsMissing();

    const AccountLinkOptions options_;
    std::string lastMissing_;  // the line said last; used by Start, then on the strand only
    mutable Mutex mutex_;
    CondVar workEnded_;
    LinkFacts facts_ GUARDED_BY(mutex_);
    std::string used_ GUARDED_BY(mutex_);  // VersionOf the identity that the soft bus uses
    sptr<DistributedHardware::DeviceManagerServer> deviceManager_ GUARDED_BY(mutex_);
    sptr<CollaborationFwk::CollaborationServer> collaboration_ GUARDED_BY(mutex_);
    bool isWorking_ GUARDED_BY(mutex_) = false;  // the strand runs work
    bool isStopping_ GUARDED_BY(mutex_) = false;
    Tasks::Timer check_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
    std::unique_ptr<FolderWatcher> watcher_ GUARDED_BY(mutex_);  // last: its callback uses the others
};

}  // namespace Vexo::Host
