#include "tools/distnetctl/app_commands.h"

namespace Vexo::Ctl {

namespace {

constexpr const char* DEVICE = "Its name, its network id as shown, or the beginning of either";

Host::ShareDecision AllowedFor(const Request& request)
{
    return request.always  ? Host::ShareDecision::ALWAYS
           : request.today ? Host::ShareDecision::TODAY
                           : Host::ShareDecision::ONCE;
}

void AddShareCommands(CLI::App& app, Request& request)
{
    const auto show = [&](Output& output) { return RunShareStatus(request.options, output); };
    CLI::App* share = app.add_subcommand("share", "Show and decide which devices use this device's network");
    share->require_subcommand(0, 1);
    share->footer("Without a command: same as `distnetctl share status`.");
    share->callback([&request, share, show] {
        if (share->get_subcommands().empty()) {
            request.run = show;
        }
    });
    AddCommand(*share, request, "status", "Show who uses this device's network, the limits and the rules",
               "  distnetctl share status\n  distnetctl --json share status", show);
    AddCommand(*share, request, "requests", "Show who asks to use this device's network", "  distnetctl share requests",
               [&](Output& output) { return RunShareRequests(request.options, output); });

    CLI::App* allow = AddCommand(
        *share, request, "allow", "Let a device use this device's network",
        "  distnetctl share allow laptop\n  distnetctl share allow laptop --always",
        [&](Output& output) { return RunShareDecide(request.options, output, request.peer, AllowedFor(request)); });
    allow->add_option("DEVICE", request.peer, DEVICE)->required();
    CLI::Option* once = allow->add_flag("--once", request.once, "For one use that begins within 10 minutes (default)");
    CLI::Option* today = allow->add_flag("--today", request.today, "Until midnight")->excludes(once);
    allow->add_flag("--always", request.always, "Until it is changed")->excludes(once)->excludes(today);

    CLI::App* deny =
        AddCommand(*share, request, "deny", "Refuse a device that asks",
                   "  distnetctl share deny laptop\n  distnetctl share deny laptop --never", [&](Output& output) {
                       return RunShareDecide(request.options, output, request.peer,
                                             request.never ? Host::ShareDecision::NEVER : Host::ShareDecision::DENY);
                   });
    deny->add_option("DEVICE", request.peer, DEVICE)->required();
    deny->add_flag("--never", request.never, "Until it is changed; you are not asked again");
}

}  // namespace

void AddOnlineCommands(CLI::App& app, Request& request)
{
    CLI::App* up = AddCommand(app, request, "up", "Get this device online through the best of your devices",
                              "  distnetctl up\n  distnetctl up phone tablet\n  distnetctl --timeout 30 up",
                              [&](Output& output) { return RunUp(request.options, output, request.peers); });
    up->add_option("PEER", request.peers, "Try only these devices, in this order; default: all");

    AddCommand(app, request, "down", "Undo `up` or `start` on both devices", "  distnetctl down",
               [&](Output& output) { return RunDown(request.options, output); });

    CLI::App* automatic =
        AddCommand(app, request, "auto", "Show or set whether `up` and `down` run by themselves",
                   "  distnetctl auto\n  distnetctl auto on\n  distnetctl auto off",
                   [&](Output& output) { return RunAuto(request.options, output, request.autoMode); });
    automatic->add_option("MODE", request.autoMode, "on or off; default: show the mode");

    CLI::App* prefer =
        AddCommand(app, request, "prefer", "Show or set which devices `up` tries first",
                   "  distnetctl prefer\n  distnetctl prefer phone tablet\n  distnetctl prefer --none",
                   [&](Output& output) { return RunPrefer(request.options, output, request.peers, request.none); });
    CLI::Option* devices =
        prefer->add_option("DEVICE", request.peers, "Best first; default: show the preferred devices");
    prefer->add_flag("--none", request.none, "Prefer none")->excludes(devices);

    AddShareCommands(app, request);
}

}  // namespace Vexo::Ctl
