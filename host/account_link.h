// AccountLink: owns the abilities that connect this device with the other devices of its account: the soft bus (4700),
// the device manager (4802) and the collaboration framework (70635). On an enrolled device they start with the daemon.
// AccountLink watches the identity folder. It starts the abilities as soon as the folder contains a complete enrolment,
// and passes later changes of the folder to the soft bus. This work runs on a strand (one task at a time) of the shared
// pool. Nothing runs while the folder does not change. Call Start, Watch and Stop once each, in this order. Any thread
// may call the other functions. A callback must not call Refresh, Leave or Stop, because they would wait for this
// callback. Read account_operations.h next.
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

// A copy of this device's account data. Later changes of the identity folder do not update the copy.
struct LinkFacts {
    std::string networkId;
    std::string accountName;                              // empty before enrolment
    sptr<SoftBus::SoftBusServer> softBus;                 // null before enrolment
    Trust::SignedStatePtr state;                          // null if unknown
    std::optional<std::chrono::sys_seconds> removedAt{};  // when the account removed this device
    bool holdsAccountKey = false;
    std::optional<WallTime> certificateEnd{};  // no value before enrolment

    // Returns this device's name in the account, or an empty text if the name is unknown.
    std::string OwnName() const;
    // Returns the known devices of the account, online devices first. Before enrolment the list is empty.
    std::vector<KnownDevice> Devices() const;
    // Returns the name of another device of the account, or an empty text if no device has this network id.
    std::string NameOf(const std::string& otherNetworkId) const;
};

struct AccountLinkOptions {
    std::filesystem::path identityFolder;  // must exist and hold the device's key
    std::string networkId;                 // the network id that belongs to the device's key
    SoftBus::SoftBusOptions softBus;
    sptr<SystemAbilityManager> abilities;
    // Receives one line of text for a person. Called on the thread that calls Start or Watch, and later on
    // AccountLink's strand.
    std::function<void(const std::string& line)> say;
    // linkStarted is called after the abilities were registered, and linkStopping is called before they stop. Both run
    // on the thread that calls Start or Stop, or on AccountLink's strand.
    std::function<void()> linkStarted;
    std::function<void()> linkStopping;
    // `enrolled` is called after the abilities were registered, if the device joins an account while the daemon runs.
    // `left` is called after the device has left its account. Both run on AccountLink's strand.
    std::function<void()> enrolled;
    std::function<void()> left;
    // Called with the account's state and this device's network id after the abilities were registered, and after each
    // change of the identity. Runs on AccountLink's strand and may block.
    std::function<void(const Trust::AccountState& state, const std::string& networkId)> stateUsed;
};

class AccountLink : public NoCopyable, public std::enable_shared_from_this<AccountLink> {
public:
    // How long the identity folder must stay unchanged before AccountLink reads it. Without this wait, AccountLink
    // could read a file that is still being copied.
    static constexpr std::chrono::milliseconds QUIET{200};

    static std::shared_ptr<AccountLink> Make(AccountLinkOptions options);

    // Starts the abilities if the device is enrolled. Otherwise reports through AccountLinkOptions::say what is missing
    // and what to do, and succeeds. Blocks on the disk. The error says which ability could not be started and why.
    [[nodiscard]] Result<void> Start();
    // Starts watching the identity folder. Does not block.
    void Watch();
    // Reads the identity folder now and applies its content. Blocks until the content is applied, or until the daemon
    // stops.
    void Refresh() EXCLUDES(mutex_);
    // Does the work of Refresh later on the strand, and returns at once.
    void RefreshSoon() EXCLUDES(mutex_);
    // Deletes this device's account and key, stops the abilities, and creates a new key. Blocks on the disk and for as
    // long as SoftBusServer::Stop does.
    [[nodiscard]] Result<void> Leave() EXCLUDES(mutex_);
    // Waits until the function that strand_ runs now has returned, or until the deadline. Then stops the abilities, and
    // blocks for as long as SoftBusServer::Stop does.
    void Stop(SteadyTime deadline);

    LinkFacts Facts() const EXCLUDES(mutex_);

private:
    explicit AccountLink(AccountLinkOptions options);
    void OnFolderChanged() EXCLUDES(mutex_);
    // Runs the given function, or does nothing after Stop was called. Stop waits until the function has returned.
    // RunOnStrand itself must run on strand_.
    void RunOnStrand(const char* what, const std::function<void()>& work) EXCLUDES(mutex_);
    // The following functions run on strand_.
    void CheckIdentity() EXCLUDES(mutex_);
    void StartIfEnrolled() EXCLUDES(mutex_);
    void ApplyIdentityChange() EXCLUDES(mutex_);
    [[nodiscard]] Result<void> LeaveNow() EXCLUDES(mutex_);
    void ReportState() EXCLUDES(mutex_);

    [[nodiscard]] Result<void> StartAbilities(const Trust::Identity& identity) EXCLUDES(mutex_);
    // Stops everything that StartAbilities started. If forGood is true (the daemon ends), keeps the objects, and leaves
    // the abilities 4700 and 70635 registered, because the service's threads may still use them.
    void StopAbilities(bool forGood) EXCLUDES(mutex_);
    void SayWhatIsMissing();

    const AccountLinkOptions options_;
    std::string lastMissing_;  // the latest line about a missing part; accessed by Start, and later only on strand_
    mutable Mutex mutex_;
    CondVar workEnded_;
    LinkFacts facts_ GUARDED_BY(mutex_);
    std::string used_ GUARDED_BY(mutex_);  // IdentityDigestOf() of the identity that the soft bus uses
    sptr<DistributedHardware::DeviceManagerServer> deviceManager_ GUARDED_BY(mutex_);
    sptr<CollaborationFwk::CollaborationServer> collaboration_ GUARDED_BY(mutex_);
    bool isWorking_ GUARDED_BY(mutex_) = false;  // strand_ is running a function
    bool isStopping_ GUARDED_BY(mutex_) = false;
    Tasks::Timer check_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
    std::unique_ptr<FolderWatcher> watcher_ GUARDED_BY(mutex_);  // declared last: its callback uses the other members
};

}  // namespace Vexo::Host
