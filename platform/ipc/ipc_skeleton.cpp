#include "platform/ipc/ipc_skeleton.h"

#include <unistd.h>

#include "platform/base/check.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo {
namespace {

thread_local const CallerIdentity* currentCaller = nullptr;

struct Self {
    Mutex mutex;
    CallerIdentity identity GUARDED_BY(mutex){::getpid(), ::getuid(), 0, 0};
};

Self& TheSelf()
{
    static NeverDestroyed<Self> self;
    return self.value;
}

CallerIdentity CurrentIdentity()
{
    return currentCaller != nullptr ? *currentCaller : IPCSkeleton::SelfIdentity();
}

}  // namespace

pid_t IPCSkeleton::GetCallingPid()
{
    return CurrentIdentity().pid;
}

uid_t IPCSkeleton::GetCallingUid()
{
    return CurrentIdentity().uid;
}

uint32_t IPCSkeleton::GetCallingTokenID()
{
    return CurrentIdentity().tokenId;
}

uint64_t IPCSkeleton::GetCallingFullTokenID()
{
    return CurrentIdentity().fullTokenId;
}

void IPCSkeleton::SetSelfIdentity(const CallerIdentity& identity)
{
    Self& self = TheSelf();
    const MutexLock lock(self.mutex);
    self.identity = identity;
}

CallerIdentity IPCSkeleton::SelfIdentity()
{
    Self& self = TheSelf();
    const MutexLock lock(self.mutex);
    return self.identity;
}

CallerScope::CallerScope(const CallerIdentity& identity) : previous_(currentCaller), identity_(identity)
{
    currentCaller = &identity_;
}

CallerScope::~CallerScope()
{
    DISTNET_CHECK(currentCaller == &identity_, "scopes of a thread are destroyed in reverse order");
    currentCaller = previous_;
}

}  // namespace Vexo
