#include "bench/bench.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Vexo::Bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int FEWEST_ROUNDS = 5;

[[noreturn]] void Refuse(const char* program, const std::string& problem)
{
    std::fprintf(stderr, "%s: %s\nusage: %s [--unpinned] [--rounds N] [NAME...]\n", program, problem.c_str(), program);
    std::exit(2);
}

void PinToLastCpu()
{
    cpu_set_t allowed;
    Check(::sched_getaffinity(0, sizeof(allowed), &allowed) == 0, "sched_getaffinity");
    int cpu = CPU_SETSIZE - 1;
    while (cpu > 0 && !CPU_ISSET(cpu, &allowed)) {
        --cpu;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    Check(::sched_setaffinity(0, sizeof(one), &one) == 0, "sched_setaffinity");
}

// Returns true if name is group, or starts with group and a dot.
bool IsBelow(std::string_view name, std::string_view group)
{
    return name.starts_with(group) && (name.size() == group.size() || name[group.size()] == '.');
}

// The p50 or the p99 of every round.
std::vector<double> ValuesOf(const std::vector<Sample>& rounds, double Sample::*percentile)
{
    std::vector<double> values;
    for (const Sample& round : rounds) {
        values.push_back(round.*percentile);
    }
    return values;
}

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string ListOf(const std::vector<double>& values)
{
    std::string text;
    for (const double value : values) {
        char number[32];
        std::snprintf(number, sizeof(number), "%s%.6g", text.empty() ? "" : ", ", value);
        text += number;
    }
    return "[" + text + "]";
}

void Print(const Arguments& arguments, const std::string& name, const char* unit, const std::vector<double>& ours,
           const std::string& peerName, const std::vector<double>& peer)
{
    std::printf(R"({"name": "%s", "value": %.6g, "unit": "%s", "rounds": %s, )", name.c_str(), MedianOf(ours), unit,
                ListOf(ours).c_str());
    if (!peer.empty()) {
        std::printf(R"("peer": "%s", "peer_value": %.6g, "peer_rounds": %s, )", peerName.c_str(), MedianOf(peer),
                    ListOf(peer).c_str());
    }
    std::printf("\"pinned\": %s}\n", arguments.pinned ? "true" : "false");
    std::fflush(stdout);
}

}  // namespace

Arguments Start(int argc, char** argv)
{
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--unpinned") {
            arguments.pinned = false;
        } else if (argument == "--rounds") {
            const std::string_view number = i + 1 < argc ? argv[++i] : "";
            const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), arguments.rounds);
            if (error != std::errc() || end != number.data() + number.size() || arguments.rounds < FEWEST_ROUNDS) {
                Refuse(argv[0], "--rounds needs a number from 5 on");
            }
        } else if (argument.starts_with("-")) {
            Refuse(argv[0], "unknown option " + std::string(argument));
        } else {
            arguments.names.emplace_back(argument);
        }
    }
    if (arguments.pinned) {
        PinToLastCpu();
    }
    return arguments;
}

bool IsWanted(const Arguments& arguments, std::string_view name)
{
    return arguments.names.empty() ||
           std::any_of(arguments.names.begin(), arguments.names.end(),
                       [name](const std::string& wanted) { return IsBelow(name, wanted) || IsBelow(wanted, name); });
}

Sample TimeEach(int calls, const std::function<void()>& operation)
{
    std::vector<double> times;
    times.reserve(static_cast<size_t>(calls));
    for (int i = 0; i < calls; ++i) {
        const Clock::time_point start = Clock::now();
        operation();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

Sample TimeAll(int calls, const std::function<void()>& operation)
{
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < calls; ++i) {
        operation();
    }
    const double each = std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls;
    return {each, each};
}

void Compare(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours, const Side& peer,
             bool withP99)
{
    ours.round();
    peer.round();
    std::vector<Sample> oursRounds;
    std::vector<Sample> peerRounds;
    for (int round = 0; round < arguments.rounds; ++round) {
        oursRounds.push_back(ours.round());
        peerRounds.push_back(peer.round());
    }
    Print(arguments, name, unit, ValuesOf(oursRounds, &Sample::p50), peer.name, ValuesOf(peerRounds, &Sample::p50));
    if (withP99) {
        Print(arguments, name + ".p99", unit, ValuesOf(oursRounds, &Sample::p99), peer.name,
              ValuesOf(peerRounds, &Sample::p99));
    }
}

void Measure(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours)
{
    ours.round();
    std::vector<Sample> rounds;
    for (int round = 0; round < arguments.rounds; ++round) {
        rounds.push_back(ours.round());
    }
    Print(arguments, name, unit, ValuesOf(rounds, &Sample::p50), "", {});
}

void Check(bool holds, const char* what)
{
    if (!holds) {
        const int error = errno;
        std::fprintf(stderr, "%s: failed%s%s\n", what, error != 0 ? ": " : "", error != 0 ? std::strerror(error) : "");
        std::exit(1);
    }
}

}  // namespace Vexo::Bench
