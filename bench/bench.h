// The benchmarks' common part: arguments, pinning, alternating rounds, and output. Each benchmark program prints one
// JSON object a line on standard output, for scripts/bench, and everything else on standard error:
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
// Returns true if the figure, or a figure whose name starts with this name and a dot, is to be measured. A wanted name
// without its last parts selects all figures below it: "task" selects task.flood.
bool IsWanted(const Arguments& arguments, std::string_view name);

// One side of a comparison. A round returns the percentiles, or one value twice.
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

// Runs one round of each side that is not counted, then the rounds of both sides in turn, and prints the medians as the
// figure. withP99: also prints the figure NAME.p99.
void Compare(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours, const Side& peer,
             bool withP99 = false);
// The same for a figure without a peer.
void Measure(const Arguments& arguments, const std::string& name, const char* unit, const Side& ours);
// Exits with 1 and prints what failed and the reason of errno if holds is false.
void Check(bool holds, const char* what);

}  // namespace Vexo::Bench
