#include "tools/distnetctl/questions.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/base/clock.h"
#include "platform/base/files.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/account_backup.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t MAX_LINE = 4096;

// The terminal on which the echo is switched off (-1: none), and the settings that RestoreEcho restores. The main
// thread sets both variables. RestoreEcho, also on the thread that handles Ctrl-C, reads both and sets -1 again.
std::atomic<int> g_silentTerminal{-1};
termios g_before{};

class SilentTerminal : public NoCopyable {
public:
    explicit SilentTerminal(int terminal)
    {
        termios silent{};
        if (tcgetattr(terminal, &g_before) == 0) {
            silent = g_before;
            silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            g_silentTerminal = terminal;
            (void)tcsetattr(terminal, TCSAFLUSH, &silent);
        }
    }
    ~SilentTerminal() { RestoreEcho(); }
};

}  // namespace

void RestoreEcho()
{
    if (const int terminal = g_silentTerminal.exchange(-1); terminal >= 0) {
        (void)tcsetattr(terminal, TCSANOW, &g_before);
    }
}

LineReader::Read LineReader::Next(std::string& line, std::optional<std::chrono::milliseconds> limit)
{
    const SteadyTime deadline = Clock::System().Now() + limit.value_or(std::chrono::milliseconds(0));
    while (true) {
        if (const size_t end = rest_.find('\n'); end != std::string::npos) {
            line = rest_.substr(0, end);
            rest_.erase(0, end + 1);
            if (line.ends_with('\r')) {
                line.pop_back();
            }
            return Read::LINE;
        }
        pollfd state{descriptor_, POLLIN, 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::System().Now()).count();
        const int ready = poll(&state, 1, !limit ? -1 : left > 0 ? static_cast<int>(left) : 0);
        if (ready == 0) {
            return Read::NOTHING_YET;
        }
        std::array<char, 512> bytes{};
        const ssize_t size = ready < 0 ? -1 : read(descriptor_, bytes.data(), bytes.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size <= 0 || rest_.size() > MAX_LINE) {
            line = std::exchange(rest_, {});
            return line.empty() ? Read::END : Read::LINE;
        }
        rest_.append(bytes.data(), static_cast<size_t>(size));
    }
}

bool MeansYes(const std::string& answer)
{
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
}

void EndPrompt(Output& output, LineReader::Read read)
{
    if (read != LineReader::Read::LINE || isatty(STDIN_FILENO) != 1) {
        output.Line("");
    }
}

bool Confirm(Output& output, const std::string& question)
{
    output.Prompt(question + " [y/N] ");
    LineReader reader(STDIN_FILENO);
    std::string answer;
    const LineReader::Read read = reader.Next(answer);
    EndPrompt(output, read);
    return read == LineReader::Read::LINE && MeansYes(answer);
}

Result<std::string> ReadPassphrase(int descriptor)
{
    LineReader reader(descriptor);
    std::string passphrase;
    if (fcntl(descriptor, F_GETFD) < 0) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "descriptor " + std::to_string(descriptor) + ": " + std::strerror(errno));
    }
    if (reader.Next(passphrase) != LineReader::Read::LINE || passphrase.empty()) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "descriptor " + std::to_string(descriptor) + " has no passphrase to read");
    }
    return passphrase;
}

Result<std::string> AskPassphrase(bool twice)
{
    const UniqueFd terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (!terminal) {
        return Fail(ErrorCode::UNAVAILABLE, "there is no terminal to ask for the passphrase");
    }
    const SilentTerminal silent(terminal.Get());
    LineReader reader(terminal.Get());
    std::string first;
    std::string second;
    (void)WriteAll(terminal.Get(), "Passphrase: ");
    bool isRead = reader.Next(first) == LineReader::Read::LINE;
    (void)WriteAll(terminal.Get(), "\n");
    if (isRead && twice && first.size() < Trust::MIN_PASSPHRASE) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "the passphrase is too short: at least " + std::to_string(Trust::MIN_PASSPHRASE) + " characters");
    }
    if (isRead && twice) {
        (void)WriteAll(terminal.Get(), "The same again: ");
        isRead = reader.Next(second) == LineReader::Read::LINE;
        (void)WriteAll(terminal.Get(), "\n");
    }
    if (!isRead || first.empty()) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "no passphrase was given");
    }
    if (twice && first != second) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "the two passphrases differ");
    }
    return first;
}

}  // namespace Vexo::Ctl
