// Tests the command "distnetctl watch": it restores the terminal at its end, works without a terminal, and displays
// hostile device names safely.
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <utmp.h>

#include <csignal>

#include "platform/base/unique_fd.h"
#include "tools/distnetctl/app.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/watch_view.h"

namespace Vexo::Ctl {
namespace {

// Starts "distnetctl watch" as a child process, without a running daemon. output: a terminal for the child, or another
// descriptor that becomes the child's standard output.
pid_t StartWatch(int output)
{
    const pid_t child = fork();
    if (child == 0) {
        (void)(isatty(output) == 1 ? login_tty(output) : dup2(output, STDOUT_FILENO));
        const char* words[] = {"distnetctl", "--socket", "/nonexistent/ipc.sock", "watch", "--interval", "0.1"};
        _exit(RunApp(static_cast<int>(std::size(words)), words));
    }
    return child;
}

// Reads from a terminal or a pipe until the text has occurred count times, or until the end of input. Returns the
// bytes.
std::string ReadUntil(const UniqueFd& from, const std::string& text, int count = 1)
{
    std::string got;
    for (char byte = 0; count > 0 && read(from.Get(), &byte, 1) == 1; count -= got.ends_with(text) ? 1 : 0) {
        got += byte;
    }
    return got;
}

bool EndsWell(pid_t child)
{
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

TEST(WatchTest, RestoresTerminalAfterEveryKindOfEnd)
{
    for (const char* key : {"q", "\3", ""}) {
        int screen = -1;
        int terminal = -1;
        const winsize size{5, 30, 0, 0};
        ASSERT_EQ(openpty(&screen, &terminal, nullptr, nullptr, &size), 0);
        const UniqueFd shown(screen);
        const UniqueFd kept(terminal);
        termios before{}, during{}, after{};
        tcgetattr(terminal, &before);
        const pid_t child = StartWatch(terminal);
        EXPECT_TRUE(ReadUntil(shown, "daemon away since", 2).starts_with("\033[?1049h\033[?25l"))
            << "it goes on looking";
        tcgetattr(terminal, &during);
        EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0u);
        EXPECT_EQ(*key == '\0' ? kill(child, SIGTERM) : write(screen, key, 1), *key == '\0' ? 0 : 1);
        EXPECT_TRUE(ReadUntil(shown, "\033[?1049l").ends_with("\033[?25h\033[?1049l"));
        EXPECT_TRUE(EndsWell(child));
        tcgetattr(terminal, &after);
        EXPECT_EQ(after.c_lflag, before.c_lflag);
    }
}

TEST(WatchTest, PrintsChangesAsLinesWithoutTerminal)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const UniqueFd lines(ends[0]);
    const pid_t child = StartWatch(ends[1]);
    close(ends[1]);
    EXPECT_TRUE(ReadUntil(lines, "\n").substr(8).starts_with(" daemon: away: /nonexistent/ipc.sock"));
    kill(child, SIGINT);
    EXPECT_EQ(ReadUntil(lines, "\n"), "") << "nothing but that";
    EXPECT_TRUE(EndsWell(child));
}

Snapshot Seen(const std::string& name, bool online)
{
    Snapshot snapshot;
    snapshot.status.service = Host::ServiceLife::IDLE;
    snapshot.status.device.name = name;
    snapshot.status = Printable(snapshot.status);
    snapshot.peers = Printable(std::vector<Peer>{{name, Host::DeviceType::PHONE, "", "", online, {}}});
    return snapshot;
}

TEST(WatchTest, EscapesStrangersNamesAndLimitsPictureHeight)
{
    for (const char* name : {"\033[2J", "a\nb", "\u009b2J", "\xff\xfe", "\xe2\x80\xae evil", "\x7f"}) {
        for (const ScreenSize& size : {ScreenSize{80, 24}, ScreenSize{40, 10}, ScreenSize{1, 1}}) {
            const std::vector<ScreenLine> picture = Picture(Seen(name, true), {}, size);
            EXPECT_EQ(picture.size(), size.rows);
            for (const ScreenLine& line : picture) {
                EXPECT_EQ(EscapeHidden(line.text), line.text);
            }
        }
    }
}

TEST(WatchTest, ReportsEachChangeOnceAcrossDaemonRestart)
{
    ChangeFinder finder;
    EXPECT_GT(finder.Compare(Seen("phone", true)).size(), 4u) << "the first look tells all";
    EXPECT_TRUE(finder.Compare(Seen("phone", true)).empty());
    Snapshot away;
    away.call.status = Client::CallStatus::UNREACHABLE;
    EXPECT_EQ(finder.Compare(away).size(), 1u);
    const std::vector<Change> back = finder.Compare(Seen("phone", false));
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[1].name + " " + back[1].before + " " + back[1].value, "phone reachable away");
}

}  // namespace
}  // namespace Vexo::Ctl
