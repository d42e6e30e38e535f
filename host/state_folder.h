// StateFolder: the lock on a device's state folder, which one daemon at a time holds. The lock is released when the
// object is destroyed. Any thread.
#pragma once

#include <filesystem>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Host {

class StateFolder {
public:
    // Creates the folder and its missing parents (mode 0700) and takes the lock: flock(2) on distnetd.lock, to which
    // the process id is written. The error names the folder, and the process that holds the lock if there is one.
    [[nodiscard]] static Result<StateFolder> Acquire(const std::filesystem::path& folder);

private:
    explicit StateFolder(UniqueFd lock) : lock_(std::move(lock)) {}

    UniqueFd lock_;
};

}  // namespace Vexo::Host
