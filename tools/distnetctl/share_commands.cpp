// The `share` commands: they show which devices use this device's network, and they allow or deny devices.
#include "interfaces/sharing_answers_json.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/share_view.h"

namespace Vexo::Ctl {

namespace {

// Reads the sharing status from the daemon, calls the given function with it, and prints the returned outcome.
int WithSharing(const GlobalOptions& options, Output& output,
                const std::function<Outcome(const Host::ShareStatus& status)>& show)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        Host::ShareStatus status;
        const Client::CallResult call = client.GetSharing(status);
        return call.Succeeded() ? show(status) : FromCall(call);
    });
}

Outcome FromFault(const Host::ShareFault& fault)
{
    Json details = NewObject();
    AddMember(details.get(), "fault", Host::ToJson(fault));
    return {EXIT_FAILED,
            CODE_NOT_DONE,
            UpperCase(NameOf(fault.code)),
            EscapeHidden(fault.message),
            EscapeHidden(fault.advice),
            std::move(details)};
}

}  // namespace

int RunShareStatus(const GlobalOptions& options, Output& output)
{
    return WithSharing(options, output, [&](const Host::ShareStatus& status) {
        for (const StatusLine& line : ShareStatusLines(Printable(status), Clock::System().WallNow())) {
            output.Line(Labelled(line));
        }
        Json details = NewObject();
        AddMember(details.get(), "sharing", Host::ToJson(status));
        return Done(output.IsJson() ? "the state of sharing" : "", std::move(details));
    });
}

int RunShareRequests(const GlobalOptions& options, Output& output)
{
    return WithSharing(options, output, [&](const Host::ShareStatus& status) {
        for (const Host::ShareRequest& request : Printable(status.requests)) {
            for (const std::string& line : RequestLines(request)) {
                output.Line(line);
            }
        }
        Json details = NewObject();
        AddMember(details.get(), "requests", Host::ToJson(status.requests));
        const bool isShown = !status.requests.empty() && !output.IsJson();
        return Done(isShown                   ? ""
                    : status.requests.empty() ? "Nobody asks to use this device's network."
                                              : std::to_string(status.requests.size()) + " devices ask",
                    std::move(details));
    });
}

int RunShareDecide(const GlobalOptions& options, Output& output, const std::string& word, Host::ShareDecision decision)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        Outcome failure;
        const std::optional<Peer> peer = FindPeer(client, word, failure);
        if (!peer) {
            return failure;
        }
        Host::ShareChange change;
        const Client::CallResult call = client.AnswerShareRequest(peer->networkId, decision, change);
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        if (change.fault) {
            return FromFault(*change.fault);
        }
        Json details = PeerDetails(*peer);
        AddText(details.get(), "decision", NameOf(decision));
        return Done(Wrapped(DecisionText(peer->name, decision)), std::move(details));
    });
}

}  // namespace Vexo::Ctl
