// Declares the commands of distnetctl to the parser CLI11, and stores the parsed command line. Shared by app.cpp and
// app_online.cpp. Main thread only.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/distnetctl/commands.h"

namespace Vexo::Ctl {

// The parsed command line. The parser (CLI11) sets the members. The std::function "run" executes the command.
struct Request {
    GlobalOptions options;
    std::function<int(Output&)> run;
    std::string peer;
    std::vector<std::string> peers;
    std::string name;
    std::string deviceName;
    std::string file;
    std::string answerFile;
    std::vector<std::string> items;
    std::vector<std::string> assignments;
    std::string joinName;
    std::string autoMode;  // "on" or "off"; empty: the command shows the mode
    int passphraseDescriptor = -1;
    bool yes = false;
    bool now = false;
    bool alone = false;
    bool scan = false;
    bool noWait = false;
    bool timing = false;
    bool follow = false;
    bool none = false;
    bool once = false;
    bool today = false;
    bool always = false;
    bool never = false;
    std::string since;
    uint32_t recording = 0;
    double intervalSeconds = 1;
};

// Adds a command to the parser. When the user gives this command, the parser copies the parameter run to request.run.
// examples: lines for the help of the command.
CLI::App* AddCommand(CLI::App& parent, Request& request, const std::string& name, const std::string& description,
                     const std::string& examples, std::function<int(Output&)> run);
// Adds a group of commands, such as "account" in "account invite". One of the commands must follow the name of the
// group.
CLI::App* AddGroup(CLI::App& parent, const std::string& name, const std::string& description);

// Adds the commands up, down, auto, prefer and share. Defined in app_online.cpp.
void AddOnlineCommands(CLI::App& app, Request& request);

}  // namespace Vexo::Ctl
