#include "host/caller_rights.h"

#include "platform/access/caller_check.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {

using namespace Security;

bool CallerHasRights()
{
    return TokenIdKit::IsSystemAppByFullTokenID(IPCSkeleton::GetCallingFullTokenID()) &&
           CheckCaller(CONNECTIVITY_INTERNAL_PERMISSION, RequiredLevel::SYSTEM).verdict == CallerVerdict::GRANTED;
}

}  // namespace Vexo::Host
