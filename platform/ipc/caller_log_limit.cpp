#include "platform/ipc/caller_log_limit.h"

namespace Vexo::Ipc {
namespace {

// Of users with a line in the last minute. A person may own thousands of user ids (subuid(5)): the lines of those that
// come when so many are known are left out.
constexpr size_t MAX_USERS = 256;

}  // namespace

std::optional<std::string> CallerLogLimit::Admit(uid_t user)
{
    const auto now = clock_.Now();
    const MutexLock lock(mutex_);
    const auto found = records_.find(user);
    if (found != records_.end() && now - found->second.last < CALLER_LOG_INTERVAL) {
        ++found->second.leftOut;
        return std::nullopt;
    }
    const uint64_t leftOut = found != records_.end() ? found->second.leftOut : 0;
    if (records_.size() >= MAX_USERS) {
        std::erase_if(records_, [&](const auto& entry) { return now - entry.second.last >= CALLER_LOG_INTERVAL; });
        if (records_.size() >= MAX_USERS) {
            return std::nullopt;
        }
    }
    records_[user] = Record{now};
    return leftOut > 0 ? "; " + std::to_string(leftOut) + " lines like it were left out" : "";
}

}  // namespace Vexo::Ipc
