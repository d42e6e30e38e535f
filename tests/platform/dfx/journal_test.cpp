#include "platform/dfx/journal.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace {

std::string& Sent()
{
    static std::string sent;
    return sent;
}

}  // namespace

// Replaces sendmsg() of the C library in this program, to get the data that libsystemd sends to the journal's socket.
extern "C" ssize_t sendmsg(int, const msghdr* message, int)
{
    for (const iovec* part = message->msg_iov; part != message->msg_iov + message->msg_iovlen; ++part) {
        Sent().append(static_cast<const char*>(part->iov_base), part->iov_len);
    }
    return 1;
}

namespace Vexo::QuviewDFX {
namespace {

// The fields that the journal receives for one log line and one event, in systemd's native journal protocol.
const std::string RECEIVED =
    "MESSAGE=a line\nPRIORITY=4\nSYSLOG_IDENTIFIER=distnetd\nDISTNET_TAG=Tag\nDISTNET_LOG_DOMAIN=0xD0015B1\n"
    "MESSAGE=FAULT ERROR_TYPE=-97 ERROR_MSG=a\\x09b\nPRIORITY=3\nSYSLOG_IDENTIFIER=distnetd\nDISTNET_EVENT=FAULT\n"
    "DISTNET_DOMAIN=NETMANAGER\nDISTNET_TYPE=1\nDISTNET_PARAM_ERROR_TYPE=-97\nDISTNET_PARAM_ERROR_MSG=a\\x09b\n";

TEST(JournalTest, LinesAndEventsReachJournalSocketWithFields)
{
    MakeJournalLogSink().value()->Write({LogLevel::WARN, {0xD0015B1, "Tag"}, " a line"});
    EXPECT_EQ(MakeJournalSysEventSink().value()->Write(
                  {{}, "NETMANAGER", "FAULT", 1, {{"ERROR_TYPE", -97}, {"ERROR_MSG", "a\tb"}}}),
              0);
    EXPECT_EQ(Sent(), RECEIVED);
}

TEST(JournalTest, StderrIsJournalOnlyIfStreamMatches)
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
