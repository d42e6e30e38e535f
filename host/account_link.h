// AccountLink: owns the abilities that connect this device with the other devices of its account: the soft bus (4700),
// the device manager (4802) and the collaboration framework (70635). On an enrolled device they start with the daemon.
// AccountLink watches the identity folder: it starts the abilities as soon as the folder contains a complete enrolment,
// and passes later changes of the folder to the soft bus. This work runs on a strand of the shared pool; nothing runs
// while the folder does not change. Call Start, Watch and Stop once each, in this order. Other functions: any thread,
// but not from the callbacks. Next: account_operations.h.
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

// This device's identity as other devices see it. Changes with the identity folder.
struct LinkFacts {
    std::string networkId;
    std::string accountName;                              // empty before enrolment
    sptr<SoftBus::SoftBusServer> softBus;                 // null before enrolment
    Trust::SignedStatePtr state;                          // null if unknown
    std::optional<std::chrono::sys_seconds> removedAt{};  // when the account removed this device
    bool holdsAccountKey = false;
    std::optional<WallTime> certificateEnd{};  // no value before enrolment

    // This device's name in the account; empty if unknown.
    std::string OwnName() const;
    // The known devices of the account, online devices first; empty before enrolment.
    std::vector<KnownDevice> Devices() const;
    // The name of another device of the account; empty if no device has that network id.
    std::string NameOf(const std::string& otherNetworkId) const;
};

struct AccountLinkOptions {
    std::filesystem::path identityFolder;  // must exist and hold the device's key
    std::string networkId;                 // the network id of that key
    SoftBus::SoftBusOptions softBus;
    sptr<SystemAbilityManager> abilities;
    // Receives one line for a person. Called on the thread that calls Start or Watch, and later on the strand.
    std::function<void(const std::string& line)> say;
    // linkStarted is called after the abilities were registered, linkStopping before they stop. On the thread that
    // calls Start or Stop, or on the strand.
    std::function<void()> linkStarted;
    std::function<void()> linkStopping;
    // enrolled is called when the device was enrolled while the daemon runs, after the abilities were registered. left
    // is called after the device has left its account. On the strand.
    std::function<void()> enrolled;
    std::function<void()> left;
    // Called with the account's state and this device's network id after the abilities were registered, and after each
    // change of the identity. On the strand; may block.
    std::function<void(const Trust::AccountState& state, const std::string& networkId)> stateUsed;
};

class AccountLink : public NoCopyable, public std::enable_shared_from_this<AccountLink> {
public:
    // How long the folder must stay unchanged before it is read, so that a file is not read while it is being copied.
    static constexpr std::chrono::milliseconds QUIET{200};

    static std::shared_ptr<AccountLink> Make(AccountLinkOptions options);

    // Starts the abilities if the device is enrolled. Otherwise reports through AccountLinkOptions::say what is missing
    // and what to do, and succeeds. Blocks on the disk. The error says which ability could not be started and why.
    [[nodiscard]] Result<void> Start();
    // Starts watching the identity folder. Does not block.
    void Watch();
    // Reads the identity folder now and applies its content. Blocks until that is done, or until the daemon stops.
    void Refresh() EXCLUDES(mutex_);
    // As Refresh, but does not block.
    void RefreshSoon() EXCLUDES(mutex_);
    // Deletes this device's account and key, stops the abilities, and creates a new key. Blocks as long as Stop.
    [[nodiscard]] Result<void> Leave() EXCLUDES(mutex_);
    // Stops the abilities. If work runs on the strand, first waits for its end, at most until deadline. Then blocks for
    // as long as SoftBusServer::Stop.
    void Stop(SteadyTime deadline);

    LinkFacts Facts() const EXCLUDES(mutex_);

private:
    explicit AccountLink(AccountLinkOptions options);
    void OnFolderChanged() EXCLUDES(mutex_);
    // Runs work unless Stop was called. Stop waits for the end of work. Called on the strand.
    void RunOnStrand(const char* what, const std::function<void()>& work) EXCLUDES(mutex_);
    // The following functions run on the strand.
    void CheckIdentity() EXCLUDES(mutex_);
    void StartIfEnrolled() EXCLUDES(mutex_);
    void ApplyIdentityChange() EXCLUDES(mutex_);
    [[nodiscard]] Result<void> LeaveNow() EXCLUDES(mutex_);
    void ReportState() EXCLUDES(mutex_);

    [[nodiscard]] Result<void> StartAbilities(const Trust::Identity& identity) EXCLUDES(mutex_);
    // Stops what StartAbilities started. forGood: the daemon ends, so the objects are kept, and 4700 and 70635 stay
    // registered.
    void StopAbilities(bool forGood) EXCLUDES(mutex_);
    void SayWhatIsMissing();

    const AccountLinkOptions options_;
    std::string lastMissing_;  // the line that was reported last; used by Start, then only on the strand
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
    std::unique_ptr<FolderWatcher> watcher_ GUARDED_BY(mutex_);  // declared last: its callback uses the other members
};

}  // namespace Vexo::Host
