// StateFolder: the device's folder, held by one daemon at a time. Any thread; the lock lives as long as the object.
#pragma once

#include <filesystem>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Host {

class StateFolder {
public:
    // Makes the folder and its missing parents (mode 0700) and takes its lock (flock(2) on distnetd.lock, which then
    // holds this process's id). The error names the folder, and the process that holds it if one does.
    [[nodiscard]] static Result<StateFolder> Acquire(const std::filesystem::path& folder);

private:
    explicit StateFolder(UniqueFd lock) : lock_(std::move(lock)) {}

    UniqueFd lock_;
};

}  // namespace Vexo::Host
