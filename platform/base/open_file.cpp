#include "platform/base/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Vexo {

void KeepStandardStreams()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) < 0) {
            (void)::open("/dev/null", O_RDONLY);  // takes the lowest number that is free, which is this one
        }
    }
}

UniqueFd OpenForReading(const std::string& path)
{
    return UniqueFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
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
