// Measures the private dirty memory of a daemon with simulated radios, which is the memory that only this process uses.
//   mem.idle       a device of an account of two, which has started nothing
//   mem.session    for each open session, on the side that accepted the session
//   mem.known_500  a device of an account with 500 other devices (fleet.h)
// Each round has its own daemons. The daemons of all rounds run at the same time, because the memory of a daemon needs
// at least 14 s to settle.
#include "bench/bench.h"
#include "bench/daemons.h"
#include "bench/fleet.h"
#include "bench/session_holder.h"

namespace {

using namespace Vexo;
using namespace Vexo::Bench;
using EndToEnd::Device;
using EndToEnd::World;

constexpr int SESSIONS = 100;

// Prints a figure from values that are already measured: one for the warm-up round, then one for each counted round.
void Report(const Arguments& arguments, const char* name, const char* unit, const std::vector<double>& values)
{
    size_t next = 0;
    const auto round = [&] {
        const double value = values.at(next++);
        return Sample{value, value};
    };
    Measure(arguments, name, unit, {"", round});
}

void MeasureIdle(const Arguments& arguments)
{
    std::vector<std::unique_ptr<World>> worlds;
    std::vector<Device*> laptops;
    for (int i = 0; i < arguments.rounds + 1; ++i) {
        worlds.push_back(std::make_unique<World>());
        worlds.back()->StartLaptopAndPhone();
        laptops.push_back(&(*worlds.back())["laptop"]);
    }
    Report(arguments, "mem.idle", "KiB", SettledMemoryKib(laptops));
}

void MeasureSession(const Arguments& arguments)
{
    World world;
    std::vector<Device*> servers;
    for (int i = 0; i < arguments.rounds + 1; ++i) {
        servers.push_back(&world.Add(i == 0 ? "laptop" : "server" + std::to_string(i)));
    }
    SessionHolder holder(world, world.Add("phone"));
    for (Device* server : servers) {
        server->Start();
        holder.Find(*server);
    }
    std::vector<double> memory = SettledMemoryKib(servers);
    for (const Device* server : servers) {
        holder.Open(server->NetworkId(), SESSIONS);
    }
    const std::vector<double> withSessions = SettledMemoryKib(servers);
    for (size_t i = 0; i < memory.size(); ++i) {
        memory[i] = (withSessions[i] - memory[i]) / SESSIONS;
    }
    Report(arguments, "mem.session", "KiB", memory);
}

void MeasureKnown(const Arguments& arguments)
{
    World world;
    MakeFleet(world, 500);
    std::vector<double> memory;
    for (int i = 0; i < arguments.rounds + 1; ++i) {
        StartAll(world, {"laptop", "phone"});
        memory.push_back(SettledMemoryKib({&world["laptop"]}).front());
        world["phone"].Stop();
        world["laptop"].Stop();
    }
    Report(arguments, "mem.known_500", "KiB", memory);
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    if (IsWanted(arguments, "mem.idle")) {
        MeasureIdle(arguments);
    }
    if (IsWanted(arguments, "mem.session")) {
        MeasureSession(arguments);
    }
    if (IsWanted(arguments, "mem.known_500")) {
        MeasureKnown(arguments);
    }
    return 0;
}
