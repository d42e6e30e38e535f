#include "platform/dfx/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <array>
#include <cstdlib>
#include <fstream>

#include "platform/base/unique_fd.h"

namespace Vexo::QuviewDFX {
namespace {

enum ChildResult : int { AS_EXPECTED = 0, NO_NAMESPACE = 1, NOT_SENT = 2, OTHER_FIELDS = 3, NO_RECEIVER = 4 };

const LogRecord LINE{LogLevel::WARN, {0xD0015B1, "Tag"}, " a line"};
const SysEventRecord FAULT{{}, "NETMANAGER", "SOME_FAULT", 1, {{"ERROR_TYPE", -97}, {"ERROR_MSG", "two\nlines"}}};

// A journal's socket where libsystemd looks for it, in a mount namespace of the calling process.
UniqueFd BindJournalSocket()
{
    UniqueFd receiver(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
    const bool bound = ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0 && ::mkdir("/run/systemd", 0700) == 0 &&
                       ::mkdir("/run/systemd/journal", 0700) == 0 &&
                       ::bind(receiver.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return bound ? std::move(receiver) : UniqueFd();
}

ChildResult SendToFakeJournal()
{
    const std::string user = std::to_string(::getuid());
    const std::string group = std::to_string(::getgid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return NO_NAMESPACE;
    }
    std::ofstream("/proc/self/uid_map") << user << " " << user << " 1";
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/gid_map") << group << " " << group << " 1";
    const UniqueFd receiver = BindJournalSocket();
    const auto log = MakeJournalLogSink();
    const auto events = MakeJournalSysEventSink();
    if (!receiver || !log || !events) {
        return NO_RECEIVER;
    }
    log.Value()->Write(LINE);
    if (events.Value()->Write(FAULT) != 0) {
        return NOT_SENT;
    }
    std::array<char, 4096> first{};
    std::array<char, 4096> second{};
    const ssize_t line = ::recv(receiver.Get(), first.data(), first.size(), MSG_DONTWAIT);
    const ssize_t event = ::recv(receiver.Get(), second.data(), second.size(), MSG_DONTWAIT);
    // A value of several lines is sent with its length (systemd's native journal protocol).
    const std::string length("ERROR_MSG\n\x09\0\0\0\0\0\0\0two\nlines\n", 28);
    const std::string_view sent(second.data(), event > 0 ? static_cast<size_t>(event) : 0);
    return line > 0 && std::string_view(first.data()).starts_with("MESSAGE=a line\nPRIORITY=4\n") &&
                   sent.find("DISTNET_PARAM_ERROR_TYPE=-97\nDISTNET_PARAM_" + length) != std::string_view::npos
               ? AS_EXPECTED
               : OTHER_FIELDS;
}

TEST(JournalTest, LinesAndEventsReachItsSocketWithTheirFields)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(SendToFakeJournal());
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == NO_NAMESPACE) {
        GTEST_SKIP() << "no user namespace here: the machine forbids it, or a sanitizer has threads of its own";
    }
    EXPECT_EQ(WEXITSTATUS(status), AS_EXPECTED);
}

TEST(JournalTest, FieldsNameWhatAPersonSelectsBy)
{
    EXPECT_THAT(JournalFields(LINE), testing::ElementsAre("MESSAGE=a line", "PRIORITY=4", "SYSLOG_IDENTIFIER=distnetd",
                                                          "DISTNET_TAG=Tag", "DISTNET_LOG_DOMAIN=0xD0015B1"));
    EXPECT_THAT(JournalFields(FAULT),
                testing::IsSupersetOf({"PRIORITY=3", "DISTNET_EVENT=SOME_FAULT", "DISTNET_DOMAIN=NETMANAGER",
                                       "DISTNET_TYPE=1", "DISTNET_PARAM_ERROR_TYPE=-97"}));
}

TEST(JournalTest, OnlyAStreamThatIsStandardErrorIsTheJournal)
{
    struct stat status {};
    ASSERT_EQ(::fstat(STDERR_FILENO, &status), 0);
    const std::string own = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    for (const auto& [stream, is] : {std::pair{own, true}, {own + "1", false}, {std::string("0:0"), false}}) {
        ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
        EXPECT_EQ(IsStderrTheJournal(), is) << stream;
    }
    ::unsetenv("JOURNAL_STREAM");
    EXPECT_FALSE(IsStderrTheJournal());
}

}  // namespace
}  // namespace Vexo::QuviewDFX
