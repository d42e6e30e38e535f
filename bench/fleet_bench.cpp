// Measures how the number of devices changes the time of a start. All daemons run on this machine with simulated
// radios. A warm start uses a collaboration that is already open.
//   fleet.known_N.start      a warm start; the laptop knows N other devices, of which one is online
//   fleet.known_N.memory     the private dirty memory of that laptop
//   fleet.known_N.discovery  from the launch of the laptop's daemon until it sees the phone, whose daemon already runs
//   fleet.open_N.together    the time to open N sessions to the phone at the same time, until the last one is open
//   fleet.open_N.start       a warm start while these N sessions are open
//   fleet.open_N.memory      the private dirty memory of the phone while these N sessions are open
#include <algorithm>
#include <chrono>
#include <initializer_list>

#include "bench/bench.h"
#include "bench/daemons.h"
#include "bench/fleet.h"
#include "bench/session_holder.h"

namespace {

using namespace Vexo::Bench;
using Vexo::EndToEnd::World;

constexpr int STARTS = 50;

bool IsAnyWanted(const Arguments& arguments, const std::string& prefix, std::initializer_list<const char*> figures)
{
    return std::any_of(figures.begin(), figures.end(),
                       [&](const char* figure) { return IsWanted(arguments, prefix + figure); });
}

void MeasureDiscovery(const Arguments& arguments, const std::string& prefix, World& world)
{
    const std::string phone = world["phone"].NetworkId();
    const auto round = [&] {
        world["laptop"].Stop();
        const auto from = std::chrono::steady_clock::now();
        world["laptop"].Start();
        Check(Vexo::EndToEnd::Eventually([&] { return world["laptop"].Sees(phone); }), "find the phone");
        const double time = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - from).count();
        return Sample{time, time};
    };
    Measure(arguments, prefix + "discovery", "ms", {"", round});
}

void MeasureKnown(const Arguments& arguments, size_t known)
{
    const std::string prefix = "fleet.known_" + std::to_string(known) + ".";
    if (!IsAnyWanted(arguments, prefix, {"start", "memory", "discovery"})) {
        return;
    }
    World world;
    MakeFleet(world, known);
    StartAll(world, {"laptop", "phone"});
    const std::string phone = world["phone"].NetworkId();
    if (IsWanted(arguments, prefix + "start")) {
        const auto client = world["laptop"].Connect();
        const auto round = [&] {
            const double time = TimeStarts(*client, phone, STARTS);
            return Sample{time, time};
        };
        Measure(arguments, prefix + "start", "us", {"", round});
    }
    if (IsWanted(arguments, prefix + "memory")) {
        const double memory = SettledMemoryKib({&world["laptop"]}).front();
        Measure(arguments, prefix + "memory", "KiB", {"", [memory] { return Sample{memory, memory}; }});
    }
    if (IsWanted(arguments, prefix + "discovery")) {
        MeasureDiscovery(arguments, prefix, world);
    }
}

void MeasureOpen(const Arguments& arguments, int open)
{
    const std::string prefix = "fleet.open_" + std::to_string(open) + ".";
    if (!IsAnyWanted(arguments, prefix, {"together", "start", "memory"})) {
        return;
    }
    World world;
    world.Add("laptop");
    world.Add("phone");
    SessionHolder holder(world, world.Add("tablet"));
    StartAll(world, {"laptop", "phone"});
    holder.Find(world["phone"]);
    const std::string phone = world["phone"].NetworkId();
    const auto client = world["laptop"].Connect();
    const auto openAll = [&] {
        holder.CloseAll();
        const double time = holder.Open(phone, open);
        return Sample{time, time};
    };
    Measure(arguments, prefix + "together", "us", {"", openAll});
    const auto start = [&] {
        const double time = TimeStarts(*client, phone, STARTS);
        return Sample{time, time};
    };
    Measure(arguments, prefix + "start", "us", {"", start});
    const double memory = SettledMemoryKib({&world["phone"]}).front();
    Measure(arguments, prefix + "memory", "KiB", {"", [memory] { return Sample{memory, memory}; }});
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    for (const size_t known : {1UL, 10UL, 100UL, 500UL}) {
        MeasureKnown(arguments, known);
    }
    for (const int open : {1, 10, 25, 50}) {
        MeasureOpen(arguments, open);
    }
    return 0;
}
