#include <utility>

#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/json.h"

namespace Vexo::Ctl {

namespace {

std::string WifiText(const cJSON* wifi)
{
    if (!IsTrue(wifi, "present")) {
        return "not present";
    }
    std::string text = TextOf(wifi, "state");
    if (const std::string ssid = TextOf(wifi, "ssid"); !ssid.empty()) {
        text += " \"" + ssid + "\"";
    }
    if (const std::string address = TextOf(wifi, "address"); !address.empty()) {
        text += ", " + address;
    }
    if (const std::string reason = TextOf(wifi, "reason"); !reason.empty()) {
        text += ": " + reason;
    }
    return text;
}

// The names of the abilities, wrapped below 80 columns.
void ShowAbilities(Output& output, const cJSON* abilities)
{
    std::string line = Column("abilities", 11);
    const cJSON* ability = nullptr;
    cJSON_ArrayForEach(ability, abilities)
    {
        const std::string name = " " + TextOf(ability, "name") + (ability->next != nullptr ? "," : "");
        if (line.size() + name.size() > 78) {
            output.Line(line);
            line = Column("", 11);
        }
        line += name;
    }
    output.Line(line);
}

void ShowStatus(Output& output, const cJSON* status)
{
    const cJSON* device = cJSON_GetObjectItemCaseSensitive(status, "device");
    const std::string account = TextOf(status, "account");
    output.Line(Column("device", 12) + "\"" + TextOf(device, "name") + "\", " + TextOf(device, "type") + ", " +
                ShortId(TextOf(device, "network_id")));
    output.Line(Column("account", 12) +
                (account.empty() ? "none: see `distnetctl account --help`" : "\"" + account + "\""));
    output.Line(Column("daemon", 12) + "distnetd " + TextOf(status, "version") + ", " + TextOf(status, "platform") +
                ", up " + DurationText(NumberOf(status, "uptime_ms")));
    output.Line(Column("service", 12) + TextOf(status, "service") +
                (TextOf(status, "service") == "stopped" ? " (starts on demand)" : ""));
    ShowAbilities(output, cJSON_GetObjectItemCaseSensitive(status, "abilities"));
    if (const std::string listen = TextOf(cJSON_GetObjectItemCaseSensitive(status, "link"), "listen");
        !listen.empty()) {
        output.Line(Column("link", 12) + "listening on " + listen);
    }
    output.Line(Column("Wi-Fi", 12) + WifiText(cJSON_GetObjectItemCaseSensitive(status, "wifi")));
}

}  // namespace

std::unique_ptr<Client::DistNetClient> ConnectClient(const GlobalOptions& options, Outcome& failure)
{
    Client::CallResult result;
    auto client = Client::DistNetClient::Connect(options.socket, result);
    if (client) {
        client->SetLimit(options.Timeout());
    } else {
        failure = FromCall(result);
    }
    return client;
}

int RunStatus(const GlobalOptions& options, Output& output)
{
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    if (!client) {
        return output.Finish(std::move(failure));
    }
    std::string statusJson;
    std::string countsJson;
    Client::CallResult call = client->GetStatus(statusJson);
    if (call.Succeeded()) {
        call = client->GetCounts(countsJson);
    }
    if (!call.Succeeded()) {
        return output.Finish(FromCall(call));
    }
    Json status = ParseJson(statusJson);
    Json counts = ParseJson(countsJson);
    ShowStatus(output, status.get());
    std::string line = Column("open", 12);
    line += std::to_string(static_cast<int>(NumberOf(counts.get(), "sessions"))) + " sessions, " +
            std::to_string(static_cast<int>(NumberOf(counts.get(), "ipc_connections"))) + " clients, " +
            std::to_string(static_cast<int>(NumberOf(counts.get(), "threads"))) + " threads, " +
            std::to_string(static_cast<int>(NumberOf(counts.get(), "descriptors"))) + " descriptors";
    output.Line(line);
    Json details = NewObject();
    AddMember(details.get(), "status", std::move(status));
    AddMember(details.get(), "counts", std::move(counts));
    return output.Finish(Done(output.IsJson() ? "the daemon answers" : "", std::move(details)));
}

int RunServiceHold(const GlobalOptions& options, Output& output)
{
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    if (!client) {
        return output.Finish(std::move(failure));
    }
    uint32_t state = 0;
    Client::CallResult call = client->StartService(state);
    if (!call.Succeeded()) {
        return output.Finish(FromCall(call));
    }
    output.Line("The service is running and held. Ctrl-C releases it.");
    WaitForInterrupt();
    call = client->ReleaseService(state);
    if (!call.Succeeded()) {
        return output.Finish(FromCall(call));
    }
    return output.Finish(Done("Released: the service stops when nobody else holds it."));
}

}  // namespace Vexo::Ctl
