// Runs programs of the project as child processes of a test. The output of each program goes to a file.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/eventually.h"

namespace Vexo::EndToEnd {

using Tests::Eventually;
inline constexpr std::chrono::seconds PATIENCE = Tests::WAIT_LIMIT;

std::string ReadText(const std::filesystem::path& file);

class Process {
public:
    // Starts the program command[0]. The other elements of command are its arguments. Standard output and standard
    // error go to the file output.
    Process(const std::vector<std::string>& command, std::filesystem::path output);
    ~Process();  // kills the process if it still runs
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Pid() const { return pid_; }
    void Signal(int signal) const;
    // Waits until the process has ended. Returns its exit code, or 128 plus the number of the signal that ended it.
    // Returns -1 if the process still runs after PATIENCE.
    int Wait();
    std::string Output() const { return ReadText(output_); }

private:
    const std::filesystem::path output_;
    pid_t pid_ = -1;
};

struct Finished {
    int exitCode = -1;
    std::string output;  // standard output and standard error, as a terminal would show them
};

// Runs distnetctl and waits until it has ended. If folder is not empty, a file with the output remains in this folder.
Finished Ctl(const std::vector<std::string>& arguments, const std::filesystem::path& folder = {});

}  // namespace Vexo::EndToEnd
