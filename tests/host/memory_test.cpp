#include "host/memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "platform/base/unique_fd.h"
#include "tests/support/eventually.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

constexpr size_t SIZE = 4 * 1024 * 1024;

// Of the SIZE bytes at start, by proc_pid_pagemap(5).
auto ResidentPages(const char* start)
{
    const auto pageSize = static_cast<size_t>(getpagesize());
    std::vector<uint64_t> pages(SIZE / pageSize);
    std::ifstream pagemap("/proc/self/pagemap", std::ios::binary);
    pagemap.seekg(static_cast<std::streamoff>(reinterpret_cast<uintptr_t>(start) / pageSize * sizeof(uint64_t)));
    pagemap.read(reinterpret_cast<char*>(pages.data()), static_cast<std::streamsize>(pages.size() * sizeof(uint64_t)));
    EXPECT_TRUE(pagemap);
    return std::count_if(pages.begin(), pages.end(), [](uint64_t page) { return page >> 63 != 0; });
}

// A private mapping of a file of SIZE bytes, each 7.
class Mapped {
public:
    Mapped()
    {
        std::ofstream(folder_.Path() / "file") << std::string(SIZE, '\7');
        const UniqueFd file(open((folder_.Path() / "file").c_str(), O_RDONLY | O_CLOEXEC));
        bytes = static_cast<char*>(mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE, file.Get(), 0));
    }
    ~Mapped() { munmap(bytes, SIZE); }

    long Sum() const { return std::accumulate(bytes, bytes + SIZE, 0L); }

    char* bytes = nullptr;

private:
    const Tests::TempFolder folder_;
};

TEST(ReleaseUnusedMemory, KeepsReadOnlyPagesThatDifferFromTheirFile)
{
    const Mapped file;
    ASSERT_NE(file.bytes, MAP_FAILED);
    file.bytes[SIZE / 2] = 8;
    mprotect(file.bytes, SIZE, PROT_READ);
    ReleaseUnusedMemory();
    EXPECT_EQ(file.Sum(), 7L * static_cast<long>(SIZE) + 1);
}

TEST(IdleMemory, LetsGoOfPagesThatWereOnlyReadOnceTheDaemonHasBeenQuietAndTheyComeBack)
{
    using namespace std::chrono;
    const Mapped file;
    ASSERT_NE(file.bytes, MAP_FAILED);
    mprotect(file.bytes, SIZE, PROT_READ);
    ASSERT_EQ(file.Sum(), 7L * static_cast<long>(SIZE));
    ASSERT_GT(ResidentPages(file.bytes), 0);
    const auto memory = IdleMemory::Make(milliseconds(50));
    const auto noted = steady_clock::now();
    memory->Note();
    memory->Note();
    EXPECT_TRUE(Tests::Eventually([&] { return ResidentPages(file.bytes) == 0; }));
    EXPECT_GE(steady_clock::now() - noted, milliseconds(50));
    EXPECT_EQ(file.Sum(), 7L * static_cast<long>(SIZE));
}

}  // namespace
}  // namespace Vexo::Host
