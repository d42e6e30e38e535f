#include "host/memory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tests/support/manual_timers.h"

namespace Vexo::Host {
namespace {

// Returns how many freed bytes the program keeps at the top of the heap. malloc_trim(3) can return such bytes to the
// system.
size_t FreeAtTop()
{
    return mallinfo2().keepcost;
}

TEST(IdleMemory, FreeHeapPagesAreReturnedOnceDaemonIsQuiet)
{
    SetUpHeap();
    mallopt(M_TRIM_THRESHOLD, 64 * 1024 * 1024);  // so that free() itself returns nothing to the system
    std::vector<std::unique_ptr<char[]>> blocks(4096);
    for (auto& block : blocks) {
        block = std::make_unique<char[]>(1024);
    }
    blocks.clear();
    const size_t held = FreeAtTop();
    if (held < 1024 * 1024) {
        GTEST_SKIP() << "this allocator is not the C library's";
    }
    Tests::ManualTimers timers;
    const auto memory = IdleMemory::Make(timers);
    for (int note = 0; note < 3; ++note) {
        memory->MarkActive();
        timers.Advance(IdleMemory::QUIET - std::chrono::seconds(1));
    }
    EXPECT_GE(FreeAtTop(), held / 4);
    timers.Advance(std::chrono::seconds(1));
    EXPECT_LT(FreeAtTop(), held / 4);
}

}  // namespace
}  // namespace Vexo::Host
