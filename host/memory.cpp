#include "host/memory.h"

#include <malloc.h>
#include <sys/mman.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "platform/tasks/timers.h"

namespace Vexo::Host {
namespace {

// One mapping of proc(5)'s smaps, as far as it was read.
struct Mapping {
    uintptr_t start = 0;
    uintptr_t end = 0;
    bool ofFile = false;
    bool readOnly = false;
    bool changed = false;  // holds pages that differ from the file (relocations, a debugger's breakpoints)
};

bool ParseHeading(const char* line, Mapping& mapping)
{
    char rights[5] = {};
    unsigned long inode = 0;
    // The numbers are the kernel's own and fit. NOLINTNEXTLINE(cert-err34-c)
    if (std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s %*x %*s %lu", &mapping.start, &mapping.end, rights, &inode) !=
        4) {
        return false;
    }
    mapping.ofFile = inode != 0;
    mapping.readOnly = rights[1] == '-' && rights[3] == 'p';
    mapping.changed = false;
    return true;
}

void LetGo(const Mapping& mapping)
{
    if (mapping.ofFile && mapping.readOnly && !mapping.changed) {
        // The address is this process's own; madvise takes it as a pointer. NOLINTNEXTLINE(performance-no-int-to-ptr)
        madvise(reinterpret_cast<void*>(mapping.start), mapping.end - mapping.start, MADV_DONTNEED);
    }
}

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

}  // namespace

void ShareOneHeap()
{
    mallopt(M_ARENA_MAX, 1);
}

void ReleaseUnusedMemory()
{
    malloc_trim(0);
    const std::unique_ptr<std::FILE, FileCloser> smaps(std::fopen("/proc/self/smaps", "re"));
    if (smaps == nullptr) {
        return;
    }
    Mapping current;
    char line[512];
    while (std::fgets(line, sizeof line, smaps.get()) != nullptr) {
        Mapping next;
        unsigned long kibibytes = 0;
        // NOLINTNEXTLINE(cert-err34-c): as above
        if (std::sscanf(line, "Anonymous: %lu", &kibibytes) == 1) {
            current.changed = kibibytes != 0;
        } else if (ParseHeading(line, next)) {
            LetGo(current);
            current = next;
        }
    }
    LetGo(current);
}

std::shared_ptr<IdleMemory> IdleMemory::Make(std::chrono::milliseconds quiet)
{
    return std::shared_ptr<IdleMemory>(new IdleMemory(quiet));
}

void IdleMemory::Note()
{
    last_ = std::chrono::steady_clock::now();
    if (!armed_.exchange(true)) {
        Arm(quiet_);
    }
}

void IdleMemory::Arm(std::chrono::milliseconds delay)
{
    Tasks::RunAfter(delay, [self = shared_from_this()] { self->ReleaseIfQuiet(); });
}

void IdleMemory::ReleaseIfQuiet()
{
    // Disarmed before the look at the time: what happens from here on arms anew.
    armed_ = false;
    const auto passed = std::chrono::steady_clock::now() - last_.load();
    if (passed >= quiet_) {
        ReleaseUnusedMemory();
    } else if (!armed_.exchange(true)) {
        Arm(std::chrono::ceil<std::chrono::milliseconds>(quiet_ - passed));
    }
}

}  // namespace Vexo::Host
