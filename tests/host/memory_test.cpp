#include "host/memory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tests/support/eventually.h"

namespace Vexo::Host {
namespace {

// Bytes of the heap that the program has freed and still holds at the heap's top, where malloc_trim(3) gives them back.
size_t FreeAtTop()
{
    return mallinfo2().keepcost;
}

TEST(IdleMemory, GivesFreeHeapPagesBackOnceTheDaemonHasBeenQuiet)
{
    using namespace std::chrono;
    ShareOneHeap();
    mallopt(M_TRIM_THRESHOLD, 64 * 1024 * 1024);  // so that free() itself gives nothing back
    std::vector<std::unique_ptr<char[]>> blocks(4096);
    for (auto& block : blocks) {
        block = std::make_unique<char[]>(1024);
    }
    blocks.clear();
    const size_t held = FreeAtTop();
    if (held < 1024 * 1024) {
        GTEST_SKIP() << "this allocator is not the C library's";
    }
    const auto memory = IdleMemory::Make(milliseconds(50));
    const auto noted = steady_clock::now();
    memory->Note();
    memory->Note();
    EXPECT_TRUE(Tests::Eventually([&] { return FreeAtTop() < held / 4; }));
    EXPECT_GE(steady_clock::now() - noted, milliseconds(50));
}

}  // namespace
}  // namespace Vexo::Host
