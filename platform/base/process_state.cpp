#include "platform/base/process_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <sstream>
#include <string>

#include "platform/base/unique_fd.h"

namespace Vexo {
namespace {

// Returns the text of a stat file from the third field on, or an empty text if the file cannot be read.
std::string FieldsFromThird(const std::string& path)
{
    constexpr size_t MAX_BYTES = 2048;  // larger than 52 fields of 20 digits
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, MAX_BYTES> buffer{};
    const ssize_t size = file.Get() < 0 ? -1 : read(file.Get(), buffer.data(), buffer.size());
    if (size <= 0) {
        return {};
    }
    const std::string text(buffer.data(), static_cast<size_t>(size));
    // The second field is the program's name in parentheses. The name may itself contain spaces and parentheses.
    const size_t nameEnd = text.rfind(") ");
    return nameEnd == std::string::npos ? std::string() : text.substr(nameEnd + 2);
}

}  // namespace

uint64_t StartTimeOf(pid_t process)
{
    std::istringstream fields(FieldsFromThird("/proc/" + std::to_string(process) + "/stat"));
    constexpr int FIELDS_BETWEEN = 19;  // the number of the fields 3 to 21
    std::string skipped;
    for (int field = 0; field < FIELDS_BETWEEN; ++field) {
        fields >> skipped;
    }
    uint64_t started = 0;
    fields >> started;
    return started;
}

bool IsRunnable(pid_t thread)
{
    return FieldsFromThird("/proc/self/task/" + std::to_string(thread) + "/stat").starts_with('R');
}

}  // namespace Vexo
