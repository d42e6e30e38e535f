// What the kernel knows about processes and threads: /proc/pid/stat (proc(5)). The functions do not block. Any thread
// may call them.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace Vexo {

// Returns the start time of the process in the kernel's clock ticks (field 22), or 0 if the process has ended.
uint64_t StartTimeOf(pid_t process);
// Returns whether a thread of this process is running or waits for a processor (field 3). Returns false if the thread
// sleeps or has ended, and if its state cannot be read, for example because no descriptor is left.
// thread: the value that gettid(2) returned on that thread.
bool IsRunnable(pid_t thread);

}  // namespace Vexo
