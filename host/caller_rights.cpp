#include "host/caller_rights.h"

#include "platform/access/accesstoken_kit.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {

using namespace Security;

bool CallerHasRights()
{
    if (!TokenIdKit::IsSystemAppByFullTokenID(IPCSkeleton::GetCallingFullTokenID())) {
        return false;
    }
    const AccessTokenID token = IPCSkeleton::GetCallingTokenID();
    const ATokenTypeEnum type = AccessTokenKit::GetTokenTypeFlag(token);
    if (type != TOKEN_HAP) {
        return type == TOKEN_NATIVE;
    }
    HapTokenInfo info;
    return AccessTokenKit::GetHapTokenInfo(token, info) == ACCESS_TOKEN_OK && info.apl >= APL_SYSTEM_BASIC &&
           AccessTokenKit::VerifyAccessToken(token, CONNECTIVITY_INTERNAL_PERMISSION) == PERMISSION_GRANTED;
}

}  // namespace Vexo::Host
