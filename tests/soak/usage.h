// Usage: the memory, the descriptors and the threads of a process, read from /proc. Any thread may call UsageOf().
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace Vexo::Soak {

struct Usage {
    int64_t privateKib = 0;  // written memory that no other process shares, in KiB
    int64_t descriptors = 0;
    int64_t threads = 0;
    bool operator==(const Usage&) const = default;
};

// Returns zeros if the process does not exist.
Usage UsageOf(pid_t process);

}  // namespace Vexo::Soak
