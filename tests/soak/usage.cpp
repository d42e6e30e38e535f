#include "tests/soak/usage.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Vexo::Soak {

namespace {

int64_t EntriesOf(const std::filesystem::path& folder)
{
    std::error_code error;
    const std::filesystem::directory_iterator entries(folder, error);
    return error ? 0 : std::distance(begin(entries), end(entries));
}

}  // namespace

Usage UsageOf(pid_t process)
{
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    Usage usage{0, EntriesOf(folder / "fd"), EntriesOf(folder / "task")};
    std::ifstream memory(folder / "smaps_rollup");
    for (std::string word; memory >> word;) {
        if (word == "Private_Dirty:") {
            memory >> usage.privateKib;
        }
    }
    return usage;
}

}  // namespace Vexo::Soak
