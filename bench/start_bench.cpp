// Measures complete starts: the request of a local client, which returns when the laptop has begun to join the phone's
// hotspot. Both daemons run on this machine with simulated radios and know each other.
//   start.total.warm  the collaboration of the two devices is open
//   start.total.cold  the collaboration has ended, and the start opens it again
//   start.cold        both daemons have just started
#include "bench/bench.h"
#include "bench/daemons.h"
#include "bench/start_parts.h"

namespace {

using namespace Vexo::Bench;
using Vexo::EndToEnd::World;

constexpr int WARM_STARTS = 100;
constexpr int COLD_STARTS = 3;  // in a round

void MeasureWarm(const Arguments& arguments)
{
    World world;
    world.StartLaptopAndPhone();
    const std::string phone = world["phone"].NetworkId();
    const auto client = world["laptop"].Connect();
    StartParts parts(*client);
    const auto start = [&] {
        const double time = TimeStarts(*client, phone, WARM_STARTS);
        return Sample{time, time};
    };
    const auto sum = [&] {
        const double time = parts.Sum(1);
        return Sample{time, time};
    };
    Compare(arguments, "start.total.warm", "us", {"", start}, {"sum of its parts", sum});
}

// Each start uses another phone, because a collaboration ends 30 s after its last use. Each phone's service runs before
// the measurement.
void MeasureCold(const Arguments& arguments)
{
    World world;
    std::vector<std::string> names{"laptop"};
    for (int i = 0; i < COLD_STARTS * (arguments.rounds + 1); ++i) {
        names.push_back("phone" + std::to_string(i));
    }
    for (const std::string& name : names) {
        world.Add(name);
    }
    StartAll(world, names);
    const auto client = world["laptop"].Connect();
    for (size_t i = 1; i < names.size(); ++i) {
        TimeStart(*client, world[names[i]].NetworkId());
    }
    StartParts parts(*client);
    AwaitNoSessions(world["laptop"]);
    size_t next = 1;
    const auto start = [&] {
        std::vector<double> times;
        for (int i = 0; i < COLD_STARTS; ++i) {
            times.push_back(TimeStart(*client, world[names.at(next++)].NetworkId()));
        }
        const double time = Median(times);
        return Sample{time, time};
    };
    const auto sum = [&] {
        const double time = parts.Sum(2);
        return Sample{time, time};
    };
    Compare(arguments, "start.total.cold", "us", {"", start}, {"sum of its parts", sum});
}

void MeasureAfterLaunch(const Arguments& arguments)
{
    World world;
    world.StartLaptopAndPhone();
    const std::string phone = world["phone"].NetworkId();
    const auto start = [&] {
        world["laptop"].Stop();
        world["phone"].Stop();
        StartAll(world, {"laptop", "phone"});
        const auto client = world["laptop"].Connect();
        const double time = TimeStart(*client, phone);
        return Sample{time, time};
    };
    Measure(arguments, "start.cold", "us", {"", start});
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    if (IsWanted(arguments, "start.total.warm")) {
        MeasureWarm(arguments);
    }
    if (IsWanted(arguments, "start.total.cold")) {
        MeasureCold(arguments);
    }
    if (IsWanted(arguments, "start.cold")) {
        MeasureAfterLaunch(arguments);
    }
    return 0;
}
