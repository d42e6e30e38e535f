// AccountLink: what connects this device with the others of its account: the soft bus (4700), the device manager (4802)
// and the collaboration framework (70635). They start with the daemon when the device is enrolled, or else while the
// daemon runs, once the identity folder holds a complete enrolment. Until then the folder is watched; nothing wakes up
// while the folder stays as it is. Start, Watch and Stop once each, in this order; a later enrolment is taken over on
// a strand of the shared pool. Facts on any thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

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

// Who this device is to others, as of now.
struct LinkFacts {
    std::string networkId;
    std::string accountName;               // empty before enrolment
    sptr<SoftBus::SoftBusServer> softBus;  // null before enrolment
};

struct AccountLinkOptions {
    std::filesystem::path identityFolder;  // exists, with the device's key
    std::string networkId;                 // of that key
    SoftBus::SoftBusOptions softBus;
    sptr<SystemAbilityManager> abilities;
    // Takes one line for a person; on the thread of Start, later on the strand.
    std::function<void(const std::string& line)> say;
    // The device was enrolled while the daemon runs, and the abilities are registered; on the strand.
    std::function<void()> enrolled;
};

class AccountLink : public NoCopyable, public std::enable_shared_from_this<AccountLink> {
public:
    // How long the folder must have been left alone before it is read: a file that is copied there comes in pieces.
    static constexpr std::chrono::milliseconds QUIET{200};

    static std::shared_ptr<AccountLink> Make(AccountLinkOptions options);

    // Starts the abilities when the device is enrolled; says else what is missing and what to do. Blocks on the disk.
    // The error says which ability could not be started and why.
    [[nodiscard]] Result<void> Start();
    // Waits for an enrolment, if there was none at Start. Does not block.
    void Watch();
    // Stops what was started; a take-over in progress is awaited until the deadline. Blocks as the soft bus's Stop.
    void Stop(SteadyTime deadline);

    LinkFacts Facts() const EXCLUDES(mutex_);

private:
    explicit AccountLink(AccountLinkOptions options);
    void OnFolderChanged() EXCLUDES(mutex_);
    void CheckIdentity() EXCLUDES(mutex_);
    // Whether the device was enrolled and its abilities run now.
    bool TakeOver() EXCLUDES(mutex_);
    [[nodiscard]] Result<void> StartAbilities(const Trust::Identity& identity) EXCLUDES(mutex_);
    void SayWhatIsMissing();

    const AccountLinkOptions options_;
    std::string lastMissing_;  // as it was said; Start's, later the strand's
    mutable Mutex mutex_;
    CondVar takeOverEnded_;
    LinkFacts facts_ GUARDED_BY(mutex_);
    sptr<DistributedHardware::DeviceManagerServer> deviceManager_ GUARDED_BY(mutex_);
    sptr<CollaborationFwk::CollaborationServer> collaboration_ GUARDED_BY(mutex_);
    bool isTakingOver_ GUARDED_BY(mutex_) = false;
    bool isStopping_ GUARDED_BY(mutex_) = false;
    Tasks::Timer check_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
    std::unique_ptr<FolderWatcher> watcher_ GUARDED_BY(mutex_);  // last: its callback uses the others
};

}  // namespace Vexo::Host
