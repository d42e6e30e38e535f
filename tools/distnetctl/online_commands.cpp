// The commands `up`, `down`, `auto` and `prefer`.
#include <algorithm>

#include "interfaces/online_answers_json.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/online_attempt.h"
#include "tools/distnetctl/online_view.h"
#include "tools/distnetctl/peers.h"

namespace Vexo::Ctl {

namespace {

// Returns the network ids of several devices. words: the names or ids of the devices, as the user typed them. If a
// device is not found, returns no value, and the parameter failure receives the outcome with which the command must
// end.
std::optional<std::vector<std::string>> IdsOf(const GlobalOptions& options, Output& output,
                                              Client::DistNetClient& client, const std::vector<std::string>& words,
                                              Outcome& failure)
{
    std::vector<std::string> networkIds;
    for (const std::string& word : words) {
        const std::optional<Peer> peer = FindPeer(client, word, failure, ScanFor(options, output, word));
        if (!peer) {
            return std::nullopt;
        }
        networkIds.push_back(peer->networkId);
    }
    return networkIds;
}

Outcome Changed(const Client::CallResult& call, const Host::OnlineChange& change, Outcome done)
{
    return !call.Succeeded() ? FromCall(call) : change.fault ? FromFault(*change.fault) : std::move(done);
}

std::string NameAmong(const std::vector<Peer>& peers, const std::string& networkId)
{
    const auto peer =
        std::find_if(peers.begin(), peers.end(), [&](const Peer& known) { return known.networkId == networkId; });
    return peer == peers.end() ? ShortId(networkId) : EscapeHidden(peer->name);
}

Outcome ShowPreferred(Client::DistNetClient& client, Output& output)
{
    Host::OnlineStatus status;
    std::vector<Peer> peers;
    Client::CallResult call = client.GetOnline(status);
    if (call.Succeeded()) {
        call = client.GetDevices(peers);
    }
    if (!call.Succeeded()) {
        return FromCall(call);
    }
    for (size_t at = 0; at < status.preferred.size(); ++at) {
        output.Line(std::to_string(at + 1) + "  " + NameAmong(peers, status.preferred[at]));
    }
    Json details = NewObject();
    AddMember(details.get(), "preferred", Host::ToJson(status.preferred));
    const bool isShown = !status.preferred.empty() && !output.IsJson();
    return Done(isShown                    ? ""
                : status.preferred.empty() ? "No device is preferred."
                                           : "the preferred devices",
                std::move(details));
}

}  // namespace

int RunUp(const GlobalOptions& options, Output& output, const std::vector<std::string>& words)
{
    CancelOnInterrupt(options, output);
    Outcome outcome;
    if (const auto client = ConnectClient(options, outcome)) {
        auto removed = WhyRemoved(*client);
        const auto networkIds = removed ? std::nullopt : IdsOf(options, output, *client, words, outcome);
        if (removed) {
            outcome = *std::move(removed);
        } else if (networkIds) {
            const bool isForOne = networkIds->size() == 1;
            outcome = Attempt(options, output, *client, {Host::OnlineMode::UP, *networkIds, isForOne}).Run();
        }
    }
    WaitIfInterrupted();
    return output.Finish(std::move(outcome));
}

int RunDown(const GlobalOptions& options, Output& output)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        if (output.IsTerminal()) {
            output.Status("leaving the other device's network");
        }
        Host::DownAnswer down;
        const Client::CallResult call = client.BringDown(down);
        return call.Succeeded() ? FromDown(down) : FromCall(call);
    });
}

int RunAuto(const GlobalOptions& options, Output& output, const std::string& mode)
{
    if (!mode.empty() && mode != "on" && mode != "off") {
        return output.Finish(UsageError("automatic mode can be on or off, not \"" + EscapeHidden(mode) + "\"",
                                        "`distnetctl auto` shows it."));
    }
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        if (!mode.empty()) {
            Host::OnlineChange change;
            const Client::CallResult call = client.SetAuto(mode == "on", change);
            const std::string done =
                mode == "on" ? "From now on this device gets online by itself when it has had no network for a while, "
                               "and goes off when a network of your own is back."
                             : "This device gets online only when you say so: `distnetctl up`.";
            return Changed(call, change, Done(Wrapped(done)));
        }
        Host::OnlineStatus status;
        if (const Client::CallResult call = client.GetOnline(status); !call.Succeeded()) {
            return FromCall(call);
        }
        Json details = NewObject();
        AddMember(details.get(), "automatic", Host::ToJson(status.automatic));
        return Done(Wrapped("Automatic mode is " + AutoText(status.automatic, Clock::System().WallNow()) + "."),
                    std::move(details));
    });
}

int RunPrefer(const GlobalOptions& options, Output& output, const std::vector<std::string>& words, bool isNone)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        if (words.empty() && !isNone) {
            return ShowPreferred(client, output);
        }
        Outcome failure;
        const auto networkIds = IdsOf(options, output, client, words, failure);
        if (!networkIds) {
            return failure;
        }
        Host::OnlineChange change;
        const Client::CallResult call = client.SetPreferred(*networkIds, change);
        Json details = NewObject();
        AddMember(details.get(), "preferred", Host::ToJson(*networkIds));
        return Changed(call, change,
                       Done(isNone ? "No device is preferred any more."
                                   : "`distnetctl up` tries them in this order, if they are reachable and can share.",
                            std::move(details)));
    });
}

}  // namespace Vexo::Ctl
