#include "tools/distnetctl/state_owner.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Vexo::Ctl {

StateOwner::StateOwner(const std::filesystem::path& stateDir)
{
    struct stat folder {};
    if (geteuid() != 0 || stat(stateDir.c_str(), &folder) != 0 || folder.st_uid == 0) {
        return;
    }
    // The group first: without root's rights it could not be changed any more.
    isOther_ = true;
    if (setegid(folder.st_gid) != 0 || seteuid(folder.st_uid) != 0) {
        taken_ = Error{stateDir.string() + ": its owner's rights cannot be taken: " + std::strerror(errno)};
    }
}

StateOwner::~StateOwner()
{
    if (isOther_ && (seteuid(0) != 0 || setegid(0) != 0)) {
        _exit(1);  // with the rights of neither, nothing that follows can be trusted
    }
}

}  // namespace Vexo::Ctl
