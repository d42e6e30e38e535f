// A whole start between two daemons of this machine, through socket, collaboration, session and simulated radios:
// median and p99 of 200 warm requests; and what an idle daemon costs: resident memory, and wake-ups over a minute (with
// --idle).

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/end_to_end/world.h"

namespace {

using Clock = std::chrono::steady_clock;
using Vexo::EndToEnd::Device;

constexpr int WARM_UP = 20;
constexpr int REQUESTS = 200;

// The sum of a numeric line of status or schedstat files over all threads of a process.
long VoluntarySwitches(pid_t pid)
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:")) {
                sum += std::stol(line.substr(line.find('\t')));
            }
        }
    }
    return sum;
}

std::string ResidentMemory(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return line.substr(line.find_first_of("0123456789"));
        }
    }
    return "unknown";
}

void MeasureIdle(Device& device)
{
    std::this_thread::sleep_for(
        std::chrono::seconds(50));  // the collaboration of the last start lives for 30 s, workers for 10 s
    const long before = VoluntarySwitches(device.Daemon().Pid());
    std::this_thread::sleep_for(std::chrono::seconds(60));
    std::printf("idle: %s resident, %ld wake-ups in 60 s\n", ResidentMemory(device.Daemon().Pid()).c_str(),
                VoluntarySwitches(device.Daemon().Pid()) - before);
}

}  // namespace

int main(int argc, char** argv)
{
    Vexo::EndToEnd::World world;
    world.StartLaptopAndPhone();
    const std::string phone = world["phone"].NetworkId();
    std::vector<double> milliseconds;
    {
        const auto client = world["laptop"].Connect();
        for (int i = 0; i < WARM_UP + REQUESTS; ++i) {
            const auto from = Clock::now();
            if (!client->StartDistributedNetwork(0, 0, phone).Succeeded()) {
                std::fprintf(stderr, "request %d failed\n%s", i, world["laptop"].Log().c_str());
                return 1;
            }
            if (i >= WARM_UP) {
                milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - from).count());
            }
        }
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("start over loopback, %d warm: median %.2f ms, p99 %.2f ms\n", REQUESTS, milliseconds[REQUESTS / 2],
                milliseconds[REQUESTS * 99 / 100]);
    if (argc > 1 && std::strcmp(argv[1], "--idle") == 0) {
        MeasureIdle(world["laptop"]);
    }
    return 0;
}
