// StateFolder: the lock on a device's state folder, so that only one daemon uses the folder. The lock is released when
// the object is destroyed. Any thread may use it.
#pragma once

#include <filesystem>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Host {

class StateFolder {
public:
    // Creates the folder and its missing parents (mode 0700) and acquires the lock: flock(2) on distnetd.lock, which
    // then contains the process id. If another process has the lock, the error names that process. Does not wait for
    // the lock.
    [[nodiscard]] static Result<StateFolder> Acquire(const std::filesystem::path& folder);

private:
    explicit StateFolder(UniqueFd lock) : lock_(std::move(lock)) {}

    UniqueFd lock_;
};

}  // namespace Vexo::Host
