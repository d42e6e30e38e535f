// UniqueFd: the only owner of a file descriptor. The destructor closes the descriptor. A UniqueFd is not thread-safe.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/base/check.h"

namespace Vexo {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) noexcept : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        Reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { Reset(); }

    int Get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    int Release() noexcept { return std::exchange(fd_, -1); }
    void Reset(int fd = -1) noexcept
    {
        if (fd_ >= 0) {
            [[maybe_unused]] const int closed = ::close(fd_);
            DISTNET_ASSERT(closed == 0 || errno != EBADF, "a descriptor has one owner, which closes it");
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

}  // namespace Vexo
