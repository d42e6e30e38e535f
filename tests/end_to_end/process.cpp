#include "tests/end_to_end/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/support/temp_folder.h"

extern char** environ;

namespace Vexo::EndToEnd {

std::string ReadText(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Process::Process(const std::vector<std::string>& command, std::filesystem::path output) : output_(std::move(output))
{
    setenv("COLUMNS", "1000", 1);  // so that distnetctl does not wrap its error lines
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    if (posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        pid_ = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
}

Process::~Process()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Process::Signal(int signal) const
{
    if (pid_ > 0) {
        kill(pid_, signal);
    }
}

int Process::Wait()
{
    int status = 0;
    const bool ended = Eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
    if (!ended) {
        return -1;
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Finished Ctl(const std::vector<std::string>& arguments, const std::filesystem::path& folder)
{
    static std::atomic<int> runs{0};
    const Tests::TempFolder own;
    std::vector<std::string> command{DISTNET_BIN_DIR "/distnetctl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Process process(command,
                    (folder.empty() ? own.Path() : folder) / ("distnetctl-" + std::to_string(++runs) + ".log"));
    const int exitCode = process.Wait();
    return {exitCode, process.Output()};
}

}  // namespace Vexo::EndToEnd
