// AccountRights: decides whether a caller may change this device's account. Any thread may use it. These callers may
// change the account:
// - root and the daemon's own user;
// - on a Linux machine, an active user whom polkit authorizes by password for the action of packaging/polkit.policy;
// - on a simulated device, a caller that is native according to the access policy.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <set>

#include "backends/linux/bus.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/log_limit.h"

namespace Vexo::Host {

inline constexpr const char* CHANGE_ACCOUNT_ACTION = "org.distnet.change-account";

class AccountRights : public NoCopyable, public std::enable_shared_from_this<AccountRights> {
public:
    // bus: the machine's system bus; null on a simulated device.
    static std::shared_ptr<AccountRights> Make(std::shared_ptr<Linux::Bus> bus);

    // Checks the rights of the caller that IPCSkeleton names, and calls the callback `done` once with the result. If
    // polkit is not asked, the callback runs on this thread before Check returns. If polkit is asked, the callback runs
    // on a thread of the pool after the person has answered or HOST_PERMISSION_LIMIT has passed; on that thread
    // IPCSkeleton names the same caller. A user for whom polkit is already being asked is refused, and so is a process
    // that has ended when the person answers.
    void Check(const std::function<void(bool isGranted)>& done);

private:
    explicit AccountRights(std::shared_ptr<Linux::Bus> bus) : bus_(std::move(bus)) {}
    bool AskPolkit(pid_t pid, uid_t uid);
    void LogRefusal(pid_t pid, uid_t uid, const std::string& why);

    const std::shared_ptr<Linux::Bus> bus_;
    QuviewDFX::LogLimit<uid_t> refusalLines_;
    Mutex mutex_;
    std::set<uid_t> asked_ GUARDED_BY(mutex_);  // users for whom polkit is being asked
};

}  // namespace Vexo::Host
