// AccountRights: who may change this device's account: root and the daemon's own user; on a Linux machine, which has a
// system bus, also whom polkit permits the action of packaging/polkit.policy (an active user, by password); on a
// simulated device also a caller that the access policy makes native. Any thread.
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

    // Calls done once with whether the caller that IPCSkeleton names may change the account. If polkit need not be
    // asked, on this thread before it returns. Else later, on a thread of the pool that acts for the caller: when the
    // person has answered, or after HOST_PERMISSION_LIMIT. A user who is being asked already is refused.
    void Check(const std::function<void(bool isGranted)>& done);

private:
    explicit AccountRights(std::shared_ptr<Linux::Bus> bus) : bus_(std::move(bus)) {}
    bool AskPolkit(pid_t pid, uid_t uid);
    void LogRefusal(pid_t pid, uid_t uid, const std::string& why);

    const std::shared_ptr<Linux::Bus> bus_;
    QuviewDFX::LogLimit<uid_t> refusalLines_;
    Mutex mutex_;
    std::set<uid_t> asked_ GUARDED_BY(mutex_);  // users whose answer is awaited
};

// When the process started, in the kernel's units, as polkit compares it (proc(5), stat, field 22); 0: it has ended.
uint64_t StartTimeOf(pid_t pid);

}  // namespace Vexo::Host
