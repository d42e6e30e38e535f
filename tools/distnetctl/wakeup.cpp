#include "tools/distnetctl/wakeup.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace Vexo::Ctl {

namespace {

timespec LeftUntil(SteadyTime deadline)
{
    using namespace std::chrono;
    const nanoseconds left = std::max<nanoseconds>(deadline - Clock::System().Now(), nanoseconds(0));
    const auto whole = duration_cast<seconds>(left);
    return {static_cast<time_t>(whole.count()), static_cast<long>((left - whole).count())};
}

}  // namespace

Wakeup::Wakeup(bool keys) : keys_(keys && isatty(STDIN_FILENO) == 1)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
    }
    if (keys) {
        for (const int signal : {SIGQUIT, SIGTSTP, SIGWINCH}) {
            sigaddset(&set, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signals_.Reset(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

WakeReason Wakeup::Wait(SteadyTime deadline)
{
    // Standard output is only polled for errors. An error means that the reader has closed the pipe or that the
    // terminal was closed.
    std::array<pollfd, 3> sources{
        {{signals_.Get(), POLLIN, 0}, {keys_ ? STDIN_FILENO : -1, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    const timespec left = LeftUntil(deadline);
    const int ready = ppoll(sources.data(), sources.size(), &left, nullptr);
    if (ready < 0 && errno != EINTR) {
        return WakeReason::QUIT;
    }
    if (ready <= 0) {
        return WakeReason::TIME;
    }
    if (sources[2].revents != 0) {
        return WakeReason::QUIT;
    }
    return sources[0].revents != 0 ? ReadSignal() : ReadKeys();
}

WakeReason Wakeup::ReadSignal() const
{
    signalfd_siginfo signal{};
    if (read(signals_.Get(), &signal, sizeof signal) != sizeof signal) {
        return WakeReason::TIME;
    }
    switch (signal.ssi_signo) {
        case SIGWINCH:
            return WakeReason::RESIZED;
        case SIGTSTP:
            return WakeReason::SUSPEND;
        default:
            return WakeReason::QUIT;
    }
}

WakeReason Wakeup::ReadKeys()
{
    std::array<char, 64> typed{};
    const ssize_t count = read(STDIN_FILENO, typed.data(), typed.size());
    if (count <= 0) {
        // The input has ended, or reading it has failed. Do not read keys any more.
        keys_ = false;
        return WakeReason::QUIT;
    }
    const std::string_view text(typed.data(), static_cast<size_t>(count));
    return text.find_first_of("qQ") != std::string_view::npos ? WakeReason::QUIT : WakeReason::KEY;
}

}  // namespace Vexo::Ctl
