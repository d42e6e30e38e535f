#include "host/memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <numeric>
#include <string>

#include "platform/base/unique_fd.h"
#include "tests/support/eventually.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

constexpr size_t SIZE = 4 * 1024 * 1024;

size_t ResidentPages(void* start)
{
    size_t pages = 0;
    std::ifstream smaps("/proc/self/smaps");
    char heading[32];
    std::snprintf(heading, sizeof heading, "%lx-", reinterpret_cast<unsigned long>(start));
    bool inside = false;
    for (std::string line; std::getline(smaps, line);) {
        inside = inside || line.starts_with(heading);
        if (inside && line.starts_with("Rss:")) {
            pages = std::stoul(line.substr(4)) * 1024 / static_cast<size_t>(getpagesize());
            break;
        }
    }
    return pages;
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
    ASSERT_GT(ResidentPages(file.bytes), SIZE / 8192);
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
