#include "platform/base/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace Vexo {

namespace {

Failure ReadError(const std::filesystem::path& path, ErrorCode code, const std::string& why)
{
    return Fail(code, path.string() + ": cannot be read: " + why);
}

Failure ReadError(const std::filesystem::path& path, int number)
{
    return ReadError(path, ErrorCodeOf(number), std::strerror(number));
}

}  // namespace

void OpenClosedStandardStreams()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) < 0) {
            (void)::open("/dev/null", O_RDONLY);  // open returns the lowest free number, which is fd
        }
    }
}

Result<UniqueFd> OpenRegularFile(const std::filesystem::path& path, LastLink link)
{
    const int linkFlag = link == LastLink::REFUSED ? O_NOFOLLOW : 0;
    UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | linkFlag));
    if (!file) {
        const bool isRefusedLink = errno == ELOOP && link == LastLink::REFUSED;
        return isRefusedLink ? ReadError(path, ErrorCode::INVALID_ARGUMENT, "it is a symbolic link")
                             : ReadError(path, errno);
    }
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0) {
        return ReadError(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return ReadError(path, ErrorCode::INVALID_ARGUMENT, "it is not a regular file");
    }
    return file;
}

UniqueFd OpenForReading(const std::string& path)
{
    Result<UniqueFd> file = OpenRegularFile(path);
    return file ? std::move(file.value()) : UniqueFd();
}

Result<std::string> ReadToEnd(int fd, const std::filesystem::path& path, size_t maxBytes)
{
    std::string content;
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t count = ::read(fd, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return ReadError(path, errno);
        }
        if (count == 0) {
            return content;
        }
        if (content.size() + static_cast<size_t>(count) > maxBytes) {
            return Fail(ErrorCode::MALFORMED,
                        path.string() + ": larger than the " + std::to_string(maxBytes) + " bytes that are allowed");
        }
        content.append(buffer.data(), static_cast<size_t>(count));
    }
}

int64_t FileStatusSize(int fd)
{
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? status.st_size : -1;
}

int64_t SeekToEnd(int fd)
{
    return ::lseek(fd, 0, SEEK_END);
}

int64_t SeekToStart(int fd)
{
    return ::lseek(fd, 0, SEEK_SET);
}

bool ReadInto(int fd, std::string& content)
{
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = ::read(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            content.resize(done);
        }
        done += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace Vexo
