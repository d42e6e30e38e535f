#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/text.h"
#include "platform/base/user_database.h"
#include "platform/dfx/health_check.h"
#include "platform/trust/identity_checks.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/state_owner.h"
#include "tools/distnetctl/status_view.h"

namespace Vexo::Ctl {

namespace {

using namespace QuviewDFX;
using Checks = std::vector<HealthCheck>;

constexpr size_t NAME_WIDTH = 12;
constexpr size_t TEXT_INDENT = NAME_WIDTH + 2;
constexpr size_t TEXT_WIDTH = COLUMNS - TEXT_INDENT;

// Returns the state folder to check if the daemon does not answer: the folder of --state, if given. Otherwise returns
// the socket's folder if it is a state folder, else the default state folder.
std::filesystem::path StateFolder(const GlobalOptions& options)
{
    const std::filesystem::path beside = std::filesystem::path(options.socket).parent_path();
    std::error_code unknown;
    const bool isBeside =
        std::filesystem::exists(beside / "identity", unknown) || unknown == std::errc::permission_denied;
    return !options.hasStateDir && isBeside ? beside : options.stateDir;
}

HealthCheck CheckSocketHere(const std::string& path)
{
    if (access(path.c_str(), R_OK | W_OK) == 0) {
        return Healthy("socket", path + ": this user may connect");
    }
    if (errno != EACCES) {
        return NotChecked("socket", "not checked: there is no socket at " + path);
    }
    return Unhealthy("socket", path + ": user " + UserName(geteuid()) + " may not connect",
                     "Ask as root: sudo distnetctl doctor; for other users see ipc.socket and ipc.socket_mode in the "
                     "daemon's configuration");
}

// Makes the checks that need no answer of the daemon.
Checks CheckHere(const GlobalOptions& options, const Client::CallResult& call)
{
    const std::filesystem::path stateDir = StateFolder(options);
    Trust::IdentityChecks found;
    {
        const StateOwner owner(stateDir);  // only the owner of a key passes the check of the key
        found = Trust::CheckIdentity(stateDir / "identity", Clock::System().WallNow());
    }
    Checks checks{std::move(found.identity), std::move(found.account), std::move(found.clock)};
    HealthCheck policy = NotChecked("policy", "not checked: needs the daemon");
    HealthCheck socket = CheckSocketHere(options.socket);
    const Outcome failure = FromCall(call);
    HealthCheck daemon = Unhealthy("daemon", "it does not answer: " + failure.message, failure.advice);
    std::string reason = "not checked: needs the daemon";
    if (call.status == Client::CallStatus::REFUSED) {
        const std::string user = UserName(geteuid());
        policy =
            Unhealthy("policy", "it refuses user " + user,
                      "Join the group that the policy names (netdev as shipped), then log in again: sudo usermod -aG "
                      "netdev " +
                          user);
        daemon = Healthy("daemon", "it answers");
        reason = "not checked: the daemon refuses this user";
    } else if (call.status == Client::CallStatus::UNREACHABLE && !socket.good.value_or(true)) {
        daemon = NotChecked("daemon", "not checked: needs the socket");
    } else if (call.status != Client::CallStatus::UNREACHABLE) {
        daemon.advice = "Restart it: systemctl restart distnet";
    }
    if (!daemon.advice.empty()) {
        daemon.advice += daemon.advice.ends_with('.') ? " " : ". ";
        daemon.advice += HasUnit() ? "Its last log lines: `journalctl -u distnet -n 20`"
                                   : "Its last log lines are on the standard error of distnetd";
    }
    checks.insert(checks.end(), {std::move(policy), std::move(daemon), std::move(socket)});
    for (const char* name : {"peers", "radio", "hotspot"}) {
        checks.push_back(NotChecked(name, reason));
    }
    return checks;
}

Checks Examine(const GlobalOptions& options)
{
    Client::CallResult call;
    const auto client = Client::DistNetClient::Connect(options.socket, call);
    Checks checks;
    if (client) {
        client->SetLimit(options.Timeout());
        call = client->GetChecks(checks);
    }
    return call.Succeeded() ? checks : CheckHere(options, call);
}

void Show(Output& output, const HealthCheck& check)
{
    const std::string mark = !check.good ? "–" : *check.good ? output.Tick() : output.Cross();
    std::string before = Column(check.name, NAME_WIDTH) + mark + " ";
    for (const std::string& piece : Wrap(check.message, TEXT_WIDTH)) {
        output.Line(before + piece);
        before = std::string(TEXT_INDENT, ' ');
    }
    for (const std::string& piece : Wrap(check.advice, TEXT_WIDTH)) {
        output.Line(std::string(TEXT_INDENT, ' ') + piece);
    }
}

}  // namespace

int RunDoctor(const GlobalOptions& options, Output& output)
{
    EndOnInterrupt();
    Checks checks = Examine(options);
    for (HealthCheck& check : checks) {
        check.advice = WithRights(check.advice);
    }
    for (const HealthCheck& check : checks) {
        Show(output, Printable(check));
    }
    const auto problems = std::count_if(checks.begin(), checks.end(),
                                        [](const HealthCheck& check) { return !check.good.value_or(true); });
    const std::string summary =
        problems == 0 ? "no problem found" : std::to_string(problems) + (problems == 1 ? " problem" : " problems");
    output.Line(summary);
    if (!output.IsJson()) {
        return problems == 0 ? EXIT_DONE : EXIT_FAILED;
    }
    Outcome outcome = problems == 0 ? Done(summary) : NotDone(summary, "");
    outcome.details = Host::ToJson(Host::CheckList{checks});
    return output.Finish(std::move(outcome));
}

}  // namespace Vexo::Ctl
