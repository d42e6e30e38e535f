#include "platform/dfx/journal.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/base/unique_fd.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr int NO_NAMESPACE = 77;

// What the journal takes for a line and for an event (systemd's native journal protocol).
const std::string RECEIVED =
    "MESSAGE=a line\nPRIORITY=4\nSYSLOG_IDENTIFIER=distnetd\nDISTNET_TAG=Tag\nDISTNET_LOG_DOMAIN=0xD0015B1\n"
    "MESSAGE=FAULT ERROR_TYPE=-97 ERROR_MSG=a\tb\nPRIORITY=3\nSYSLOG_IDENTIFIER=distnetd\nDISTNET_EVENT=FAULT\n"
    "DISTNET_DOMAIN=NETMANAGER\nDISTNET_TYPE=1\nDISTNET_PARAM_ERROR_TYPE=-97\nDISTNET_PARAM_ERROR_MSG=a\tb\n";

// Serves the journal's socket where libsystemd looks for it, in namespaces of the calling process, and writes there.
int SendToFakeJournal()
{
    const auto onlyItself = [](uint32_t id) { return std::to_string(id) + " " + std::to_string(id) + " 1"; };
    const std::string users = onlyItself(::getuid());
    const std::string groups = onlyItself(::getgid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return NO_NAMESPACE;
    }
    std::ofstream("/proc/self/uid_map") << users;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/gid_map") << groups;
    const UniqueFd receiver(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
    if (::mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0 ||
        !std::filesystem::create_directories("/run/systemd/journal") ||
        ::bind(receiver.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return 2;
    }
    MakeJournalLogSink().Value()->Write({LogLevel::WARN, {0xD0015B1, "Tag"}, " a line"});
    if (MakeJournalSysEventSink().Value()->Write(
            {{}, "NETMANAGER", "FAULT", 1, {{"ERROR_TYPE", -97}, {"ERROR_MSG", "a\tb"}}}) != 0) {
        return 3;
    }
    std::string received;
    std::array<char, 4096> datagram{};
    for (ssize_t got = 0; got >= 0; got = ::recv(receiver.Get(), datagram.data(), datagram.size(), MSG_DONTWAIT)) {
        received.append(datagram.data(), static_cast<size_t>(got));
    }
    return received == RECEIVED ? 0 : 4;
}

TEST(JournalTest, LinesAndEventsReachItsSocketWithTheirFields)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(SendToFakeJournal());
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == NO_NAMESPACE) {
        GTEST_SKIP() << "no user namespace here: the machine forbids it, or a sanitizer has threads of its own";
    }
    EXPECT_EQ(status, 0);
}

TEST(JournalTest, OnlyAStreamThatIsStandardErrorIsTheJournal)
{
    struct stat status {};
    ASSERT_EQ(::fstat(STDERR_FILENO, &status), 0);
    const std::string own = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    for (const auto& [stream, is] : {std::pair{own, true}, {own + "1", false}, {std::string(), false}}) {
        ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
        EXPECT_EQ(IsStderrTheJournal(), is) << stream;
    }
}

}  // namespace
}  // namespace Vexo::QuviewDFX
