// Writes the line counters when a program ends by _exit(), as the daemon and the test programs do. The compiler's
// runtime writes the counters at exit() only. Linked into every program and library of a coverage build, because each
// of them has its own counters.

#include <sys/syscall.h>
#include <unistd.h>

#include <vector>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the name in the compiler's runtime

// The __gcov_dump functions of the program and its libraries. Default visibility: they all share one list.
__attribute__((visibility("default"))) inline std::vector<void (*)()>& CounterWriters()
{
    static auto* writers = new std::vector<void (*)()>;  // lives until the process ends
    return *writers;
}

namespace {

[[gnu::constructor]] void AddOwnWriter()
{
    CounterWriters().push_back(__gcov_dump);
}

}  // namespace

extern "C" __attribute__((visibility("default"), noreturn)) void _exit(int status)
{
    for (const auto write : CounterWriters()) {
        write();
    }
    for (;;) {
        ::syscall(SYS_exit_group, status);
    }
}
