// distnetd: reads its configuration, starts the daemon, and runs until a signal stops it.
// Exit codes: 0 stopped by a signal; 1 could not start; 2 wrong usage or configuration; 128 + signal number if a second
// signal arrived before the daemon had stopped.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <string>
#include <thread>

#include "host/daemon.h"
#include "host/memory.h"
#include "host/signals.h"
#include "platform/base/clock.h"
#include "platform/base/files.h"
#include "platform/base/open_file.h"
#include "platform/base/text.h"
#include "platform/base/version.h"

namespace {

using Vexo::Host::Configuration;
using Vexo::Host::ConfigurationResult;
using Vexo::Host::Daemon;

enum ExitCode : int { EXIT_DONE = 0, EXIT_NOT_STARTED = 1, EXIT_USAGE = 2, EXIT_CUT_SHORT = 128 };

struct Options {
    std::string file;
    bool checkOnly = false;
};

constexpr size_t COLUMNS = 80;

std::string KeyList()
{
    std::string list = "Keys of the file:\n";
    for (const auto& key : Vexo::Host::ConfigurationKeys()) {
        list += "  " + key.name + "\n";
        const std::string text = key.meaning + ": " + key.allowed + " (default: " + key.fallback + ")";
        const std::string indentation(6, ' ');
        for (const std::string& line : Vexo::Wrap(text, COLUMNS - indentation.size())) {
            list += indentation + line + "\n";
        }
    }
    return list;
}

void Say(const std::string& line)
{
    std::string text;
    if (isatty(STDOUT_FILENO) == 1) {
        const std::time_t now = Vexo::WallTime::clock::to_time_t(Vexo::Clock::System().WallNow());
        std::tm local{};
        localtime_r(&now, &local);
        char clock[sizeof "HH:MM:SS "] = {};
        text.assign(clock, std::strftime(clock, sizeof clock, "%H:%M:%S ", &local));
    }
    text += line + "\n";
    // The text is written in one call, so that it does not mix with log lines. A failure is ignored, because the daemon
    // also runs if standard output is closed.
    (void)Vexo::WriteAll(STDOUT_FILENO, text);
}

// Parses the command line. Returns the exit code if the process must end here (help, version, a wrong argument).
// Otherwise returns -1.
int ParseArguments(int count, char** arguments, Options& options)
{
    CLI::App app(
        "distnetd: gets this device online through another device of the same account,\nand serves its own hotspot.",
        "distnetd");
    app.add_option("--config", options.file, "The configuration: one JSON file")->type_name("FILE");
    app.add_flag("--check-config", options.checkOnly, "Check the file, print every fault and exit");
    app.set_version_flag("--version", std::string("distnetd ") + Vexo::DistNetVersion());
    app.footer([] { return KeyList(); });
    try {
        app.parse(count, arguments);
        // The missing option is checked after parsing, so that a misspelt option is reported first.
        if (options.file.empty()) {
            throw CLI::RequiredError("--config FILE");
        }
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            app.exit(error);  // prints the text for --help or --version
            return EXIT_DONE;
        }
        std::cerr << "distnetd: " << error.what() << "\n  `distnetd --help` lists the options.\n";
        return EXIT_USAGE;
    }
    return -1;
}

// Stops the daemon and ends the process with _exit. The service's threads still run, so no destructor may run.
[[noreturn]] void End(Vexo::Host::EndSignals& signals, Daemon& daemon)
{
    std::thread([&daemon] {
        daemon.Drain();
        _exit(EXIT_DONE);
    }).detach();
    // The thread normally ends the process within DRAIN_LIMIT. If Drain hangs, this wait ends 200 ms after DRAIN_LIMIT.
    const int second = signals.WaitFor(Vexo::Host::DRAIN_LIMIT + std::chrono::milliseconds(200));
    _exit(second != 0 ? EXIT_CUT_SHORT + second : EXIT_DONE);
}

int Serve(const Configuration& configuration)
{
    Vexo::Host::EndSignals signals;
    auto started = Daemon::Start(configuration, Say);
    if (!started) {
        std::cerr << "distnetd: " << started.error().message << std::endl;
        _exit(EXIT_NOT_STARTED);
    }
    signals.Wait();
    End(signals, *started.value());
}

}  // namespace

int main(int argc, char** argv)
{
    Vexo::OpenClosedStandardStreams();
    Vexo::Host::SetUpHeap();
    Options options;
    if (const int code = ParseArguments(argc, argv, options); code >= 0) {
        return code;
    }
    const ConfigurationResult loaded = Vexo::Host::LoadConfiguration(options.file);
    for (const std::string& fault : loaded.faults) {
        std::cerr << fault << "\n";
    }
    if (!loaded.faults.empty()) {
        return EXIT_USAGE;
    }
    if (options.checkOnly) {
        std::cout << options.file << ": no faults\n";
        return EXIT_DONE;
    }
    return Serve(loaded.configuration);
}
