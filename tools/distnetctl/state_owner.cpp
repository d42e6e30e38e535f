#include "tools/distnetctl/state_owner.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace Vexo::Ctl {

StateOwner::StateOwner(const std::filesystem::path& stateDir)
{
    struct stat folder {};
    if (geteuid() != 0 || stat(stateDir.c_str(), &folder) != 0 || folder.st_uid == 0) {
        return;
    }
    // Change the group before the user. After the user has changed, the process may no longer change its group.
    isOther_ = true;
    if (setegid(folder.st_gid) != 0 || seteuid(folder.st_uid) != 0) {
        taken_ = Fail(ErrorCodeOf(errno),
                      stateDir.string() + ": cannot switch to its owner's rights: " + std::strerror(errno));
    }
}

StateOwner::~StateOwner()
{
    if (isOther_ && (seteuid(0) != 0 || setegid(0) != 0)) {
        _exit(1);  // the process must not continue with a mix of two users' rights
    }
}

bool IsClosedToUser(const std::filesystem::path& stateDir)
{
    return geteuid() != 0 && access((stateDir / "identity").c_str(), R_OK | X_OK) != 0 && errno == EACCES;
}

Outcome StateFailure(const std::filesystem::path& stateDir, std::string message, std::string advice)
{
    return NotDone(std::move(message),
                   IsClosedToUser(stateDir)
                       ? "Only the owner of " + stateDir.string() +
                             " and root may read it: use sudo, or name another folder with --state DIR."
                       : std::move(advice));
}

}  // namespace Vexo::Ctl
