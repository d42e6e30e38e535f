// AccountLink: owns the abilities that connect this device with the others of its account: the soft bus (4700), the
// device manager (4802) and the collaboration framework (70635). If the device is enrolled, they start with the daemon.
// If not, AccountLink watches the identity folder and starts them as soon as the folder holds a complete enrolment;
// this runs on a strand of the shared pool and costs nothing while the folder does not change. Call Start, Watch and
// Stop once each, in this order. Facts may be called from any thread.
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

// Who this device is to others. Changes when the device is enrolled.
struct LinkFacts {
    std::string networkId;
    std::string accountName;               // empty before enrolment
    sptr<SoftBus::SoftBusServer> softBus;  // null before enrolment
};

struct AccountLinkOptions {
    std::filesystem::path identityFolder;  // must exist and hold the device's key
    std::string networkId;                 // the network id of that key
    SoftBus::SoftBusOptions softBus;
    sptr<SystemAbilityManager> abilities;
    // Receives one line for a person. Called on the thread that calls Start or Watch, and later on the strand.
    std::function<void(const std::string& line)> say;
    // Called when the device was enrolled while the daemon runs, after the abilities are registered. On the strand.
    std::function<void()> enrolled;
};

class AccountLink : public NoCopyable, public std::enable_shared_from_this<AccountLink> {
public:
    // The folder is read when it has not changed for this long, so that a file is not read while it is being copied.
    static constexpr std::chrono::milliseconds QUIET{200};

    static std::shared_ptr<AccountLink> Make(AccountLinkOptions options);

    // Starts the abilities if the device is enrolled; otherwise says what is missing and what to do, and succeeds.
    // Blocks on the disk. The error says which ability could not be started and why.
    [[nodiscard]] Result<void> Start();
    // If the device was not enrolled at Start, begins to watch for an enrolment. Does not block.
    void Watch();
    // Stops what was started. If an enrolment is being taken over, waits for its end until the deadline. Then blocks
    // for as long as SoftBusServer::Stop.
    void Stop(SteadyTime deadline);

    LinkFacts Facts() const EXCLUDES(mutex_);

private:
    explicit AccountLink(AccountLinkOptions options);
    void OnFolderChanged() EXCLUDES(mutex_);
    void CheckIdentity() EXCLUDES(mutex_);
    // Returns whether the device is enrolled and its abilities run now.
    bool TakeOver() EXCLUDES(mutex_);
    [[nodiscard]] Result<void> StartAbilities(const Trust::Identity& identity) EXCLUDES(mutex_);
    void SayWhatIsMissing();

    const AccountLinkOptions options_;
    std::string lastMissing_;  // the line said last; used by Start, then on the strand only
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
