#include "tools/distnetctl/app.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/base/version.h"
#include "tools/distnetctl/app_commands.h"
#include "tools/distnetctl/interrupt.h"

namespace Vexo::Ctl {

CLI::App* AddCommand(CLI::App& parent, Request& request, const std::string& name, const std::string& description,
                     const std::string& examples, std::function<int(Output&)> run)
{
    CLI::App* command = parent.add_subcommand(name, description);
    command->footer("Examples:\n" + examples +
                    "\n\nWith every command: --json, --socket and --timeout, see `distnetctl --help`.");
    command->callback([&request, run = std::move(run)] { request.run = run; });
    return command;
}

CLI::App* AddGroup(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* group = parent.add_subcommand(name, description);
    group->require_subcommand(1);
    return group;
}

namespace {

constexpr size_t HELP_COLUMN = 18;  // the column in which descriptions begin; lines of the help then fit 80 columns
constexpr double MIN_SECONDS = 0.1;
constexpr double MAX_SECONDS = 3600;

std::string HostName()
{
    std::array<char, 65> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? std::string(name.data()) : std::string("device");
}

// Checks an argument that is a number of seconds. CLI::Range is not used because it accepts "nan".
std::string CheckSeconds(const std::string& text)
{
    const auto seconds = ParseNumber<double>(text);
    return seconds && *seconds >= MIN_SECONDS && *seconds <= MAX_SECONDS
               ? ""
               : "\"" + text + "\" is not a number of seconds from 0.1 to 3600";
}

// Rejects an empty argument, which is usually an unset shell variable. An empty path would mean the current folder. An
// empty time would select all events.
std::string CheckGiven(const std::string& text)
{
    return text.empty() ? "must not be empty" : "";
}

void AddState(CLI::App* command, Request& request)
{
    command->add_option("--state", request.options.stateDir, "The device's state folder (state_dir of its daemon)")
        ->check(CheckGiven)
        ->each([&request](const std::string&) { request.options.hasStateDir = true; })
        ->capture_default_str();
}

void AddNetworkCommands(CLI::App& app, Request& request)
{
    CLI::App* devices = AddCommand(app, request, "devices", "List the devices of this account that have been met",
                                   "  distnetctl devices\n  distnetctl devices --scan\n  distnetctl --json devices",
                                   [&](Output& output) { return RunDevices(request.options, output, request.scan); });
    devices->add_flag("--scan", request.scan, "Try every device first; takes up to 5 s");

    CLI::App* start = AddCommand(
        app, request, "start", "Get this device online through one device",
        "  distnetctl start phone\n  distnetctl --timeout 60 start 7f3a\n  distnetctl --json start phone --no-wait",
        [&](Output& output) {
            return RunStart(request.options, output, request.peer, !request.noWait, request.timing);
        });
    start->add_option("PEER", request.peer, "Its name, its network id as shown, or the beginning of either")
        ->required();
    CLI::Option* noWait =
        start->add_flag("--no-wait", request.noWait, "Do not wait until this device's Wi-Fi has joined");
    start->add_flag("--timing", request.timing, "Show how long each step took")->excludes(noWait);

    CLI::App* stop =
        AddCommand(app, request, "stop", "Tell the service that a peer is no longer needed", "  distnetctl stop phone",
                   [&](Output& output) { return RunStop(request.options, output, request.peer); });
    stop->add_option("PEER", request.peer, "Its name, its network id as shown, or the beginning of either")->required();

    CLI::App* info = AddCommand(app, request, "info", "Show what this device can offer to others",
                                "  distnetctl info\n  distnetctl info hotspotName bssid",
                                [&](Output& output) { return RunInfo(request.options, output, request.items); });
    info->add_option("ITEM", request.items, "What to show")
        ->default_val(std::vector<std::string>{"supportSmartHotSpot", "hotspotName", "bssid"});
}

void AddDaemonCommands(CLI::App& app, Request& request)
{
    AddCommand(app, request, "status", "Show the state of the daemon and of this device's Wi-Fi",
               "  distnetctl status\n  distnetctl --socket ./phone/ipc.sock status",
               [&](Output& output) { return RunStatus(request.options, output); });
    CLI::App* doctor = AddCommand(app, request, "doctor", "Check everything, and show how to repair each fault",
                                  "  distnetctl doctor\n  distnetctl --socket ./phone/ipc.sock doctor",
                                  [&](Output& output) { return RunDoctor(request.options, output); });
    AddState(doctor, request);
    CLI::App* watch =
        AddCommand(app, request, "watch", "Show this device and its peers live; q or Ctrl-C ends it",
                   "  distnetctl watch\n  distnetctl watch --interval 5\n  distnetctl --json watch > changes.jsonl",
                   [&](Output& output) {
                       return RunWatch(request.options, output,
                                       std::chrono::milliseconds(static_cast<int64_t>(request.intervalSeconds * 1000)));
                   });
    watch->add_option("--interval", request.intervalSeconds, "Seconds between updates")
        ->check(CheckSeconds)
        ->capture_default_str();
    CLI::App* service = AddGroup(app, "service", "Hold the service");
    AddCommand(*service, request, "hold", "Keep the service running until Ctrl-C", "  distnetctl service hold",
               [&](Output& output) { return RunServiceHold(request.options, output); });
}

void AddRecordCommands(CLI::App& app, Request& request)
{
    CLI::App* events =
        AddCommand(app, request, "events", "Show the daemon's system events",
                   "  distnetctl events --since 10m\n  distnetctl events --since yesterday --follow\n"
                   "  distnetctl --json events > events.jsonl",
                   [&](Output& output) { return RunEvents(request.options, output, request.follow, request.since); });
    events->add_flag("-f,--follow", request.follow, "Then show new events, until Ctrl-C");
    events->add_option("--since", request.since, "10m, 1h30m or 2d ago; today; 2026-11-21, \"2026-11-21 14:00\"")
        ->check(CheckGiven)
        ->type_name("TIME");

    CLI::App* trace = AddGroup(app, "trace", "Record what the daemon does, for a trace viewer");
    AddCommand(*trace, request, "start", "Start a recording", "  distnetctl trace start",
               [&](Output& output) { return RunTraceStart(request.options, output); });
    CLI::App* stop = AddCommand(
        *trace, request, "stop", "Stop a recording and write its trace", "  distnetctl trace stop trace.json",
        [&](Output& output) { return RunTraceStop(request.options, output, request.file, request.recording); });
    stop->add_option("FILE", request.file, "File to write the trace to (trace-event JSON)")
        ->required()
        ->check(CheckGiven);
    stop->add_option("--recording", request.recording, "Its number; default: the oldest of `trace start`");
}

constexpr const char* MEMBER = "Its name, its fingerprint as shown, or the beginning of either";

void AddTicketCommands(CLI::App* account, Request& request)
{
    CLI::App* invite =
        AddCommand(*account, request, "invite", "Show a ticket with which a new device joins",
                   "  distnetctl account invite\n  distnetctl --json account invite --yes",
                   [&](Output& output) { return RunAccountInvite(request.options, output, request.yes); });
    invite->add_flag("--yes", request.yes, "Admit the first device that has the ticket, without asking");
    CLI::App* join =
        AddCommand(*account, request, "join", "On a new device: join with a ticket",
                   "  distnetctl account join\n  distnetctl account join --device-name phone < ticket",
                   [&](Output& output) { return RunAccountJoin(request.options, output, request.joinName); });
    join->add_option("--device-name", request.joinName, "Name of this device; default: the configured name")
        ->check(CheckGiven);
}

void AddMemberCommands(CLI::App* account, Request& request)
{
    AddCommand(*account, request, "devices", "List the members of the account", "  distnetctl account devices",
               [&](Output& output) { return RunAccountDevices(request.options, output); });
    CLI::App* rename = AddCommand(
        *account, request, "rename", "Rename a member", "  distnetctl account rename phone \"old phone\"",
        [&](Output& output) { return RunAccountRename(request.options, output, request.peer, request.name); });
    rename->add_option("DEVICE", request.peer, MEMBER)->required();
    rename->add_option("NAME", request.name, "Its new name")->required()->check(CheckGiven);
    CLI::App* remove =
        AddCommand(*account, request, "remove", "Remove a device from the account", "  distnetctl account remove phone",
                   [&](Output& output) {
                       return RunAccountRemove(request.options, output, request.peer, request.yes, request.now);
                   });
    remove->add_option("DEVICE", request.peer, MEMBER)->required();
    remove->add_flag("--yes", request.yes, "Do not ask");
    remove->add_flag("--now", request.now, "Stop announcing with the old key at once, also to members");
    CLI::App* leave =
        AddCommand(*account, request, "leave", "Remove this device from its account", "  distnetctl account leave",
                   [&](Output& output) { return RunAccountLeave(request.options, output, request.yes); });
    leave->add_flag("--yes", request.yes, "Do not ask");
    CLI::App* transfer = AddCommand(*account, request, "transfer", "Transfer the account's key to another member",
                                    "  distnetctl account transfer phone", [&](Output& output) {
                                        return RunAccountTransfer(request.options, output, request.peer, request.yes);
                                    });
    transfer->add_option("DEVICE", request.peer, MEMBER)->required();
    transfer->add_flag("--yes", request.yes, "Do not ask");
    AddCommand(*account, request, "renew", "Renew the certificates of the account and its members",
               "  distnetctl account renew", [&](Output& output) { return RunAccountRenew(request.options, output); });
}

void AddKeyCommands(CLI::App* account, Request& request)
{
    CLI::App* backup =
        AddCommand(*account, request, "backup", "Write the account's key to a file (PKCS#12)",
                   "  distnetctl account backup /media/stick/home.p12", [&](Output& output) {
                       return RunAccountBackup(request.options, output, request.file, request.passphraseDescriptor);
                   });
    CLI::App* restore =
        AddCommand(*account, request, "restore", "On a new device: restore the account's key from a backup",
                   "  distnetctl account restore /media/stick/home.p12", [&](Output& output) {
                       return RunAccountRestore(request.options, output, request.file, request.passphraseDescriptor,
                                                request.deviceName, request.alone);
                   });
    for (CLI::App* command : {backup, restore}) {
        command->add_option("FILE", request.file, "The backup")->required()->check(CheckGiven);
        command
            ->add_option("--passphrase-fd", request.passphraseDescriptor,
                         "Descriptor to read the passphrase from, instead of asking")
            ->check([](const std::string& number) { return CLI::NonNegativeNumber(number); })
            ->type_name("NUMBER");
        AddState(command, request);
    }
    restore->add_option("--device-name", request.deviceName, "Name of this device")->capture_default_str();
    restore->add_flag("--alone", request.alone, "No other member is left: admit and remove at once");
}

void AddAccountCommands(CLI::App& app, Request& request)
{
    CLI::App* account = AddGroup(app, "account", "The account: join, invite, members, backup");
    AddTicketCommands(account, request);
    AddMemberCommands(account, request);
    AddKeyCommands(account, request);
    CLI::App* create = AddCommand(
        *account, request, "create", "Create an account; this device is its first member",
        "  distnetctl account create home\n"
        "  distnetctl account create home --state ./laptop --device-name laptop",
        [&](Output& output) { return RunAccountCreate(request.options, output, request.name, request.deviceName); });
    create->add_option("NAME", request.name, "Name of the account")->required();
    create->add_option("--device-name", request.deviceName, "Name of this device")->capture_default_str();
    AddState(create, request);

    CLI::App* show = AddCommand(*account, request, "show", "Show this device's identity and account",
                                "  distnetctl account show --state ./laptop",
                                [&](Output& output) { return RunAccountShow(request.options, output); });
    AddState(show, request);

    CLI::App* ask = AddCommand(*account, request, "request", "On a new device: write a request to join (PKCS#10)",
                               "  distnetctl account request phone.csr", [&](Output& output) {
                                   return RunAccountRequest(request.options, output, request.file, request.deviceName);
                               });
    ask->add_option("FILE", request.file, "File to write the request to")->required()->check(CheckGiven);
    ask->add_option("--device-name", request.deviceName, "Name of this device")->capture_default_str();
    AddState(ask, request);

    CLI::App* admit = AddCommand(*account, request, "admit", "On the account's first device: answer a request (CMS)",
                                 "  distnetctl account admit phone.csr -o phone.pem", [&](Output& output) {
                                     return RunAccountAdmit(request.options, output, request.file, request.answerFile);
                                 });
    admit->add_option("FILE", request.file, "The request")->required()->check(CheckGiven);
    admit->add_option("-o,--output", request.answerFile, "File to write the answer to, readable only by its owner")
        ->required()
        ->check(CheckGiven);
    AddState(admit, request);

    CLI::App* install = AddCommand(
        *account, request, "install", "On the new device: install the answer", "  distnetctl account install phone.pem",
        [&](Output& output) { return RunAccountInstall(request.options, output, request.file); });
    install->add_option("FILE", request.file, "The answer of `account admit`")->required()->check(CheckGiven);
    AddState(install, request);
}

// isShown: whether the help and the shell completion list these commands. The user can run them in both cases.
void AddSimCommands(CLI::App& app, Request& request, bool isShown)
{
    CLI::App* sim = AddGroup(app, "sim", "A simulated device: its screen, radios, SIMs and faults");
    sim->group(isShown ? "Subcommands" : "");
    CLI::App* show = AddCommand(*sim, request, "show", "Show the settings of the simulated device",
                                "  distnetctl sim show --state ./phone",
                                [&](Output& output) { return RunSimShow(request.options, output); });
    AddState(show, request);
    CLI::App* set = AddCommand(*sim, request, "set", "Change the simulated device; its daemon follows at once",
                               "  distnetctl sim set --state ./phone screen=off\n"
                               "  distnetctl sim set --state ./phone faults.hotspot.enable.code=5",
                               [&](Output& output) { return RunSimSet(request.options, output, request.assignments); });
    set->add_option("KEY=VALUE", request.assignments, "Keys as `sim show` lists them")->required();
    AddState(set, request);
}

// Returns true if --json is one of the arguments. Used after a parser error, because the parsed flag is then not
// available.
bool AsksForJson(int argc, const char* const* argv)
{
    return std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; });
}

// Returns the error message if the name of a group is not followed by one of its commands. rest: the words after the
// name.
std::string WrongCommand(const CLI::App& group, const std::vector<std::string>& rest)
{
    std::vector<std::string> names;
    std::string list;
    for (const CLI::App* command : group.get_subcommands({})) {
        if (command->get_group().empty()) {
            continue;
        }
        names.push_back(command->get_name());
        list += (list.empty() ? "" : ", ") + names.back();
    }
    if (rest.empty()) {
        return "a command is missing: one of " + list;
    }
    if (rest.front().starts_with('-')) {
        return "there is no option \"" + rest.front() + "\"";
    }
    const std::string close = ClosestOf(rest.front(), names);
    return "there is no command \"" + rest.front() + "\"" + (close.empty() ? "" : "; did you mean \"" + close + "\"?");
}

// Returns the name of the JSON schema of the parsed command, such as "account-show". Empty if no command was
// recognised.
std::string SchemaOf(const CLI::App& app)
{
    std::string name;
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += (name.empty() ? "" : "-") + command->get_name();
    }
    if (name == "share") {
        return "share-status";  // the user typed `share` without a command
    }
    return command->get_subcommands({}).empty() ? name : "";
}

int ReportParseError(const CLI::App& app, const CLI::ParseError& error, Output& output)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return app.exit(error);  // the user asked for --help or --version
    }
    const CLI::App* command = &app;
    std::string words = app.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        words += " " + command->get_name();
    }
    const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const bool isWrongCommand = !command->get_subcommands({}).empty() &&
                                (kind == CLI::ExitCodes::RequiredError || kind == CLI::ExitCodes::ExtrasError);
    return output.Finish(UsageError(isWrongCommand ? WrongCommand(*command, app.remaining(true)) : error.what(),
                                    "`" + words + " --help` shows how to use it."));
}

}  // namespace

int RunApp(int argc, const char* const* argv)
{
    const Terminal terminal = FindTerminal();
    Request request;
    request.deviceName = HostName();
    CLI::App app("DistNet: get this device online through another device of yours", "distnetctl");
    app.get_formatter()->column_width(HELP_COLUMN);
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", std::string("distnetctl ") + DistNetVersion());
    app.add_flag("--json", request.options.json, "Print one JSON object instead of readable lines");
    // If the user gives an option twice, the last value counts. A user can thus override the options of a shell alias.
    app.add_option("--socket", request.options.socket, "The daemon's socket")
        ->check(CheckGiven)
        ->take_last()
        ->capture_default_str();
    app.add_option("--timeout", request.options.timeoutSeconds,
                   "Longest wait in seconds; up and start: no limit by default")
        ->check(CheckSeconds)
        ->each([&request](const std::string&) { request.options.hasTimeout = true; })
        ->take_last()
        ->capture_default_str();
    app.footer(
        "Exit codes: 0 done, 1 failed, 2 usage, 3 daemon not reachable, 4 not permitted,\n"
        "5 timed out, 130 interrupted.\n\nExamples:\n  distnetctl up\n  distnetctl down\n  distnetctl devices");
    AddOnlineCommands(app, request);
    AddNetworkCommands(app, request);
    AddDaemonCommands(app, request);
    AddRecordCommands(app, request);
    AddAccountCommands(app, request);
    AddSimCommands(app, request, IsSimulated(GlobalOptions(), argc, argv));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        Output output(AsksForJson(argc, argv), terminal, SchemaOf(app));
        return ReportParseError(app, error, output);
    }
    Output output(request.options.json, terminal, SchemaOf(app));
    ReportInterrupts(output);
    return output.End(request.run(output));
}

}  // namespace Vexo::Ctl
