#include "platform/access/caller_check.h"

#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Security {
namespace {

bool IsGranted(AccessTokenID application, const std::string& permission, RequiredLevel level)
{
    HapTokenInfo info;
    AccessTokenKit::GetHapTokenInfo(application, info);
    return (level == RequiredLevel::ANY || info.apl >= APL_SYSTEM_BASIC) &&
           AccessTokenKit::VerifyAccessToken(application, permission) == PERMISSION_GRANTED;
}

}  // namespace

CallerCheck CheckCaller(const std::string& permission, RequiredLevel level)
{
    CallerCheck check;
    if (permission.empty()) {
        return check;
    }
    check.token = IPCSkeleton::GetCallingTokenID();
    check.type = AccessTokenKit::GetTokenTypeFlag(check.token);
    if (check.type == TOKEN_NATIVE) {
        check.verdict = CallerVerdict::GRANTED;
    } else if (check.type != TOKEN_HAP) {
        check.verdict = CallerVerdict::WRONG_TYPE;
    } else {
        check.verdict = IsGranted(check.token, permission, level) ? CallerVerdict::GRANTED : CallerVerdict::NOT_GRANTED;
    }
    return check;
}

}  // namespace Vexo::Security
