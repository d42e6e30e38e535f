#include <unistd.h>

#include <cerrno>
#include <utility>

#include "interfaces/online_answers_json.h"
#include "interfaces/sharing_answers_json.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/share_view.h"
#include "tools/distnetctl/status_view.h"

namespace Vexo::Ctl {

std::unique_ptr<Client::DistNetClient> ConnectClient(const GlobalOptions& options, Outcome& failure)
{
    Client::CallResult result;
    auto client = Client::DistNetClient::Connect(options.socket, result);
    if (client) {
        client->SetLimit(options.Timeout());
        return client;
    }
    failure = FromCall(result);
    if (access(options.socket.c_str(), R_OK | W_OK) != 0 && errno == EACCES) {
        failure.advice =
            "Ask as root; for other users see ipc.socket and ipc.socket_mode in the daemon's configuration.";
    }
    return nullptr;
}

int WithClient(const GlobalOptions& options, Output& output,
               const std::function<Outcome(Client::DistNetClient& client)>& work)
{
    EndOnInterrupt();
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    return output.Finish(client ? work(*client) : std::move(failure));
}

namespace {

// Says how this device uses the network of another device, and how other devices use this device's network. A member
// has no value if its request failed, for example because an older daemon does not support the request.
struct UseStatus {
    std::optional<Host::OnlineStatus> online;
    std::optional<Host::ShareStatus> sharing;
};

UseStatus GetUse(Client::DistNetClient& client)
{
    UseStatus use;
    if (Host::OnlineStatus online; client.GetOnline(online).Succeeded()) {
        use.online = std::move(online);
    }
    if (Host::ShareStatus sharing; client.GetSharing(sharing).Succeeded()) {
        use.sharing = std::move(sharing);
    }
    return use;
}

std::vector<StatusLine> UseLines(const UseStatus& use)
{
    const WallTime now = Clock::System().WallNow();
    std::vector<StatusLine> lines;
    if (use.online) {
        lines = OnlineLines(Printable(*use.online), now);
    }
    if (use.sharing) {
        const std::vector<StatusLine> share = ShareLines(Printable(*use.sharing), now);
        lines.insert(lines.end(), share.begin(), share.end());
    }
    return lines;
}

}  // namespace

int RunStatus(const GlobalOptions& options, Output& output)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        Host::HostStatus status;
        Host::HostCounts counts;
        Client::CallResult call = client.GetStatus(status);
        if (call.Succeeded()) {
            call = client.GetCounts(counts);
        }
        Host::DeviceList known;
        if (call.Succeeded()) {
            call = client.GetDevices(known.devices);
        }
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        for (const StatusLine& line : StatusLines(Printable(status), counts)) {
            output.Line(Labelled(line));
        }
        for (const StatusLine& line : WrappedLines("reachable", ReachableText(Printable(known.devices)))) {
            output.Line(Labelled(line));
        }
        const UseStatus use = GetUse(client);
        for (const StatusLine& line : UseLines(use)) {
            output.Line(Labelled(line));
        }
        Json details = NewObject();
        AddMember(details.get(), "status", Host::ToJson(status));
        AddMember(details.get(), "counts", Host::ToJson(counts));
        AddMember(details.get(), "devices", Host::ToJson(known.devices));
        AddMember(details.get(), "online", Host::ToJson(use.online));
        AddMember(details.get(), "sharing", Host::ToJson(use.sharing));
        return Done(output.IsJson() ? "the daemon answers" : "", std::move(details));
    });
}

namespace {

Outcome HoldService(Client::DistNetClient& client, Output& output)
{
    uint32_t state = 0;
    Client::CallResult call = client.StartService(state);
    if (!call.Succeeded()) {
        return FromCall(call);
    }
    output.Line("The service is running and held. Ctrl-C releases it.");
    WaitForInterrupt();
    call = client.ReleaseService(state);
    return call.Succeeded() ? Done("Released: the service stops when nobody else holds it.") : FromCall(call);
}

}  // namespace

int RunServiceHold(const GlobalOptions& options, Output& output)
{
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    return output.Finish(client ? HoldService(*client, output) : std::move(failure));
}

}  // namespace Vexo::Ctl
