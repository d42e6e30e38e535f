#include "host/account_rights.h"

#include <unistd.h>

#include <string>
#include <tuple>
#include <utility>

#include "interfaces/host_answers.h"
#include "platform/access/accesstoken_kit.h"
#include "platform/base/process_state.h"
#include "platform/dfx/log.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};
constexpr uint32_t ALLOW_USER_INTERACTION = 1;

const Linux::BusObject POLKIT{"org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                              "org.freedesktop.PolicyKit1.Authority"};

CallerIdentity Caller()
{
    return {IPCSkeleton::GetCallingPid(), IPCSkeleton::GetCallingUid(), IPCSkeleton::GetCallingTokenID(),
            IPCSkeleton::GetCallingFullTokenID()};
}

}  // namespace

std::shared_ptr<AccountRights> AccountRights::Make(std::shared_ptr<Linux::Bus> bus)
{
    return std::shared_ptr<AccountRights>(new AccountRights(std::move(bus)));
}

void AccountRights::Check(const std::function<void(bool isGranted)>& done)
{
    const CallerIdentity caller = Caller();
    if (caller.uid == 0 || caller.uid == geteuid()) {
        done(true);
        return;
    }
    if (!bus_) {
        const bool isNative = Security::AccessTokenKit::GetTokenTypeFlag(caller.tokenId) == Security::TOKEN_NATIVE;
        if (!isNative) {
            LogRefusal(caller.pid, caller.uid, "the access policy does not make this user native");
        }
        done(isNative);
        return;
    }
    bool isFirst = false;
    {
        const MutexLock lock(mutex_);
        isFirst = asked_.insert(caller.uid).second;
    }
    const bool asks = isFirst && Tasks::ElasticPool::Shared().Post([self = shared_from_this(), caller, done] {
        const bool isGranted = self->AskPolkit(caller.pid, caller.uid);
        {
            const MutexLock lock(self->mutex_);
            self->asked_.erase(caller.uid);
        }
        const CallerScope scope(caller);
        done(isGranted);
    });
    if (!asks) {
        LogRefusal(caller.pid, caller.uid, "this user is being asked already");
        done(false);
    }
}

bool AccountRights::AskPolkit(pid_t pid, uid_t uid)
{
    using Details = std::map<std::string, std::string>;
    // The start time prevents a later process with the same id from using this authorization.
    const uint64_t startTime = StartTimeOf(pid);
    const Linux::PropertyMap process{{"pid", sdbus::Variant(static_cast<uint32_t>(pid))},
                                     {"start-time", sdbus::Variant(startTime)},
                                     {"uid", sdbus::Variant(static_cast<int32_t>(uid))}};
    const sdbus::Struct<std::string, Linux::PropertyMap> subject{"unix-process", process};
    const auto answer = bus_->Call<sdbus::Struct<bool, bool, Details>>(
        POLKIT, "CheckAuthorization", HOST_PERMISSION_LIMIT, subject, std::string(CHANGE_ACCOUNT_ACTION), Details{},
        ALLOW_USER_INTERACTION, std::string());
    if (!answer) {
        LogRefusal(pid, uid, "polkit does not answer: " + answer.error().message);
        return false;
    }
    if (!std::get<0>(answer.value())) {
        LogRefusal(pid, uid, "polkit does not permit it");
        return false;
    }
    // The daemon has cleaned up after an ended program already, so nobody would end what the program starts now.
    if (startTime == 0 || StartTimeOf(pid) != startTime) {
        LogRefusal(pid, uid, "the program ended while polkit was asked");
        return false;
    }
    return true;
}

void AccountRights::LogRefusal(pid_t pid, uid_t uid, const std::string& why)
{
    if (const std::optional<std::string> leftOut = refusalLines_.Admit(uid)) {
        QuviewDFX::LogError(LABEL, "pid %{public}d, uid %{public}u may not change the account: %{public}s%{public}s",
                            pid, uid, why, *leftOut);
    }
}

}  // namespace Vexo::Host
