#include "platform/base/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "platform/base/unique_fd.h"

namespace Vexo {

namespace {

Failure WriteError(const std::filesystem::path& path, int number)
{
    return Fail(ErrorCodeOf(number), path.string() + ": cannot be written: " + std::strerror(number));
}

// Returns a path in the same folder as the given path. No other writer uses the returned path.
std::filesystem::path TemporaryName(const std::filesystem::path& path)
{
    std::random_device source;
    return path.parent_path() / ("." + path.filename().string() + "." + std::to_string(::getpid()) + "." +
                                 std::to_string(source()) + ".tmp");
}

}  // namespace

Result<void> MakeFolder(const std::filesystem::path& folder, mode_t mode)
{
    std::error_code unknown;
    if (folder.empty() || std::filesystem::is_directory(folder, unknown)) {
        return {};
    }
    if (Result<void> parent = MakeFolder(folder.parent_path(), mode); !parent) {
        return parent;
    }
    // mkdir(2) applies the umask, so chmod(2) sets the mode that the caller asked for.
    if (::mkdir(folder.c_str(), mode) == 0 ? ::chmod(folder.c_str(), mode) == 0
                                           : errno == EEXIST && std::filesystem::is_directory(folder, unknown)) {
        return {};
    }
    return Fail(ErrorCodeOf(errno), folder.string() + ": the folder cannot be created: " + std::strerror(errno));
}

Result<std::string> ReadWholeFile(const std::filesystem::path& path, size_t maxBytes, LastLink link)
{
    Result<UniqueFd> file = OpenRegularFile(path, link);
    return file ? ReadToEnd(file.value().Get(), path, maxBytes) : Failure(std::move(file).error());
}

bool WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

Result<void> WriteFileAtomically(const std::filesystem::path& path, std::string_view text, mode_t mode, Sync sync)
{
    const std::filesystem::path temporary = TemporaryName(path);
    UniqueFd file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file) {
        return WriteError(path, errno);
    }
    // open(2) applies the umask, so fchmod(2) sets the mode that the caller asked for.
    const bool written = ::fchmod(file.Get(), mode) == 0 && WriteAll(file.Get(), text) &&
                         (sync == Sync::LATER || ::fsync(file.Get()) == 0);
    const int number = errno;
    file.Reset();
    if (written && ::rename(temporary.c_str(), path.c_str()) == 0) {
        return {};
    }
    const int cause = written ? errno : number;
    ::unlink(temporary.c_str());
    return WriteError(path, cause);
}

}  // namespace Vexo
