#include "bench/daemons.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "bench/bench.h"

namespace Vexo::Bench {

using EndToEnd::Device;
using EndToEnd::Eventually;
using EndToEnd::World;

namespace {

double PrivateDirtyKib(pid_t pid)
{
    std::ifstream rollup("/proc/" + std::to_string(pid) + "/smaps_rollup");
    for (std::string line; std::getline(rollup, line);) {
        if (line.starts_with("Private_Dirty:")) {
            return std::stod(line.substr(line.find_first_of("0123456789")));
        }
    }
    Check(false, "read the memory of a daemon");
    return 0;
}

}  // namespace

void StartAll(World& world, const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        world[name].Start();
    }
    for (size_t i = 1; i < names.size(); ++i) {
        const bool isFound = Eventually([&] { return World::Found(world[names[0]], world[names[i]]); });
        Check(isFound, ("the devices " + names[0] + " and " + names[i] + " find each other").c_str());
    }
}

double TimeStart(Client::DistNetClient& client, const std::string& networkId)
{
    const auto from = std::chrono::steady_clock::now();
    const Client::CallResult result = client.StartDistributedNetwork(0, 0, networkId);
    const double time = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - from).count();
    Check(result.Succeeded(), ("start, code " + std::to_string(result.code) + " " + result.message).c_str());
    return time;
}

double TimeStarts(Client::DistNetClient& client, const std::string& networkId, int starts)
{
    std::vector<double> times;
    for (int i = 0; i < starts; ++i) {
        times.push_back(TimeStart(client, networkId));
    }
    return Median(std::move(times));
}

void AwaitNoSessions(const Device& device)
{
    Check(Eventually([&] { return device.Count("sessions") == 0; }, std::chrono::seconds(60)),
          "wait until the collaborations have ended");
}

std::vector<double> SettledMemoryKib(const std::vector<Device*>& devices)
{
    using namespace std::chrono_literals;
    const auto read = [&devices] {
        std::vector<double> memory;
        for (Device* device : devices) {
            memory.push_back(PrivateDirtyKib(device->Daemon().Pid()));
        }
        return memory;
    };
    const auto began = std::chrono::steady_clock::now();
    auto changed = began;
    std::vector<double> memory = read();
    // A daemon trims its heap after 3 s without work, and an idle thread ends after 10 s.
    while (std::chrono::steady_clock::now() < std::max(changed + 2s, began + 14s)) {
        std::this_thread::sleep_for(200ms);
        if (std::vector<double> now = read(); now != memory) {
            memory = std::move(now);
            changed = std::chrono::steady_clock::now();
        }
        Check(changed < began + 60s, "wait until the memory of the daemons has settled");
    }
    return memory;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace Vexo::Bench
