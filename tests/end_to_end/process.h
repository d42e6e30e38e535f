// Programs of the project as child processes of a test: started with their output in files, ended by their pid.
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
    // Starts program with arguments, both outputs going to the file.
    Process(const std::vector<std::string>& command, std::filesystem::path output);
    ~Process();  // kills it if it runs
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Pid() const { return pid_; }
    void Signal(int signal) const;
    // Waits for its end: its exit code, 128 + signal, or -1 when PATIENCE ran out.
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

// Runs distnetctl to its end. Its output stays in a file of the folder, when one is given.
Finished Ctl(const std::vector<std::string>& arguments, const std::filesystem::path& folder = {});

}  // namespace Vexo::EndToEnd
