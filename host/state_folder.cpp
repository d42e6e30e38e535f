#include "host/state_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/base/files.h"

namespace Vexo::Host {
namespace {

namespace fs = std::filesystem;

constexpr mode_t LOCK_MODE = 0600;
constexpr const char* LOCK_NAME = "distnetd.lock";

Failure SystemError(const fs::path& path, const std::string& what)
{
    return Fail(ErrorCodeOf(errno), path.string() + ": " + what + ": " + std::strerror(errno));
}

std::string ReadHolder(int lock)
{
    char text[32] = {};
    const ssize_t length = pread(lock, text, sizeof text - 1, 0);
    std::string holder(text, length > 0 ? static_cast<size_t>(length) : 0);
    while (!holder.empty() && holder.back() == '\n') {
        holder.pop_back();
    }
    return holder;
}

}  // namespace

Result<StateFolder> StateFolder::Acquire(const fs::path& folder)
{
    if (Result<void> made = MakeFolder(folder, PRIVATE_FOLDER); !made) {
        return Failure(std::move(made).error());
    }
    const fs::path file = folder / LOCK_NAME;
    UniqueFd lock(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE));
    if (!lock) {
        return SystemError(file, "the lock cannot be opened");
    }
    if (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            return SystemError(file, "the lock cannot be taken");
        }
        const std::string holder = ReadHolder(lock.Get());
        return Fail(ErrorCode::ALREADY_EXISTS,
                    folder.string() + ": another distnetd" + (holder.empty() ? "" : " (pid " + holder + ")") +
                        " uses this state folder; stop it first, or give this one a \"state_dir\" of its own");
    }
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(lock.Get(), 0) != 0 || pwrite(lock.Get(), pid.data(), pid.size(), 0) < 0) {
        return SystemError(file, "the lock cannot be written");
    }
    return StateFolder(std::move(lock));
}

}  // namespace Vexo::Host
