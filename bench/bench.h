// Shared by all benchmarks: arguments, CPU pinning, alternating rounds, and output. A peer is the program or library
// that a figure is compared with. Each benchmark program prints one JSON object per line on standard output, for
// scripts/bench, and everything else on standard error:
//   {"name": "session.echo3", "value": 14.2, "unit": "us", "peer": "OpenSSL pair", "peer_value": 9.1,
//    "rounds": [...], "peer_rounds": [...], "pinned": true}
// A figure without a peer has no "peer", "peer_value" and "peer_rounds". scripts/bench adds ratio, goal and met.
// A benchmark calls these functions on its main thread. docs/performance.md describes the figures.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo::Bench {

struct Arguments {
    std::vector<std::string> names;  // the figures to measure; empty: all of the program
    bool pinned = true;              // --unpinned: use all CPUs
    int rounds = 7;                  // --rounds N, at least 5
};
// Parses PROGRAM [--unpinned] [--rounds N] [NAME…]. Exits with 2 and a message if an argument is wrong. Pins the
// process to its last CPU if arguments.pinned.
Arguments Start(int argc, char** argv);
// Returns true if the user selected the figure with this name, or a figure whose name starts with this name and a dot.
// A name in arguments.names also selects every figure whose name starts with it and a dot: "task" selects task.flood.
bool IsWanted(const Arguments& arguments, std::string_view name);

// The result of one round: the two percentiles of its measurements, or a single value stored in both members.
struct Sample {
    double p50 = 0;
    double p99 = 0;
};
struct Side {
    std::string name;               // of the peer, such as "OpenSSL pair"
    std::function<Sample()> round;  // runs one round
};
// Times every call of an operation, in microseconds.
Sample TimeEach(int calls, const std::function<void()>& operation);
// Times all calls together and returns nanoseconds per call.
Sample TimeAll(int calls, const std::function<void()>& operation);

// Runs one warm-up round of each side, and then runs the counted rounds of the two sides alternately. Prints the median
// of the p50 values of each side as the figure. withP99: whether to print the figure NAME.p99 too.
void Compare(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours, const Side& peer,
             bool withP99 = false);
// Measures and prints a figure that has no peer. The first round is a warm-up and is not counted.
void Measure(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours);
// Exits with 1 and prints what failed and the reason of errno if holds is false.
void Check(bool holds, const char* what);

}  // namespace Vexo::Bench
