// A clock that a test can move: a library for LD_PRELOAD. It adds an offset to the wall clock of one process. The
// environment variable DISTNET_CHAOS_CLOCK names a file of eight bytes: the offset in nanoseconds, an int64 in the byte
// order of the machine. A change of the file is effective at once. Other clocks are not changed.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr int64_t NANOSECONDS = 1'000'000'000;

const volatile int64_t* MapOffset()
{
    static const int64_t none = 0;
    const char* path = std::getenv("DISTNET_CHAOS_CLOCK");
    const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        return &none;
    }
    void* mapped = mmap(nullptr, sizeof(int64_t), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return mapped == MAP_FAILED ? &none : static_cast<const volatile int64_t*>(mapped);
}

timespec Moved(timespec time)
{
    static const volatile int64_t* const offset = MapOffset();
    const int64_t moved = time.tv_sec * NANOSECONDS + time.tv_nsec + *offset;
    return {moved / NANOSECONDS, moved % NANOSECONDS};
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        *time = Moved(*time);
    }
    return result;
}

int gettimeofday(timeval* time, void*) noexcept
{
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

time_t time(time_t* result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

}  // extern "C"
