#include "tools/distnetctl/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "platform/base/files.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

namespace {

// Switches to the alternate screen, without cursor and line wrapping. Without wrapping, a line cannot continue on the
// next row if it contains characters of double width.
constexpr std::string_view TAKE = "\033[?1049h\033[?25l\033[?7l\033[2J";
constexpr std::string_view GIVE_BACK = "\033[?7h\033[?25h\033[?1049l";
constexpr const char* CLEAR_REST_OF_LINE = "\033[K";
constexpr const char* CLEAR_REST_OF_SCREEN = "\033[J";

std::string Styled(const ScreenLine& line, size_t columns, const Terminal& terminal)
{
    const std::string cut = Column(line.text, columns);
    std::string text = terminal.hasUtf8 ? cut : AsciiMarks(cut);
    switch (line.style) {
        case ScreenLine::Style::HEADING:
            return "\033[1m" + text + "\033[0m";
        case ScreenLine::Style::WRONG:
            return terminal.hasColour ? "\033[31m" + text + "\033[0m" : text;
        case ScreenLine::Style::PLAIN:
            break;
    }
    return text;
}

}  // namespace

Screen::Screen(const Terminal& terminal) : terminal_(terminal)
{
    Enter();
}

Screen::~Screen()
{
    Leave();
}

void Screen::Enter()
{
    if (held_) {
        return;
    }
    held_ = true;
    termios now{};
    if (tcgetattr(STDIN_FILENO, &now) == 0) {
        before_ = now;
        now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        now.c_cc[VMIN] = 1;
        now.c_cc[VTIME] = 0;
        (void)tcsetattr(STDIN_FILENO, TCSANOW, &now);
    }
    (void)WriteAll(STDOUT_FILENO, TAKE);
}

void Screen::Leave()
{
    if (!held_) {
        return;
    }
    held_ = false;
    (void)WriteAll(STDOUT_FILENO, GIVE_BACK);
    if (before_) {
        (void)tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
    }
}

ScreenSize Screen::Size()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

bool Screen::Draw(const std::vector<ScreenLine>& lines, const ScreenSize& size)
{
    std::string picture = "\033[H";
    const size_t count = std::min(lines.size(), size.rows);
    for (size_t i = 0; i < count; ++i) {
        picture += Styled(lines[i], size.columns, terminal_) + CLEAR_REST_OF_LINE + (i + 1 < count ? "\r\n" : "");
    }
    return WriteAll(STDOUT_FILENO, picture + CLEAR_REST_OF_SCREEN);
}

}  // namespace Vexo::Ctl
