// The commands `devices`, `stop` and `info`.
#include <algorithm>
#include <array>

#include "interfaces/online_answers_json.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

namespace {

// The names of the service's capability items. Beside each name is the label with which it is printed.
constexpr std::array<std::array<const char*, 2>, 3> LABELS{
    {{"supportSmartHotSpot", "can share mobile data"}, {"hotspotName", "hotspot name"}, {"bssid", "Wi-Fi BSSID"}}};

// Returns the requested items that the answer does not contain. Each item is listed once.
std::vector<std::string> ItemsNotIn(const cJSON* answer, const std::vector<std::string>& asked)
{
    std::vector<std::string> missing;
    for (const std::string& item : asked) {
        if (cJSON_GetObjectItemCaseSensitive(answer, item.c_str()) == nullptr &&
            std::find(missing.begin(), missing.end(), item) == missing.end()) {
            missing.push_back(item);
        }
    }
    return missing;
}

// Converts an answer of the service to a JSON object with the value of each item. A value is true, false, a text, or
// null if the item is not available.
Json ItemValues(const cJSON* answer)
{
    Json values = NewObject();
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, answer)
    {
        const cJSON* value = cJSON_GetObjectItemCaseSensitive(item, "value");
        const bool isEmpty = value == nullptr || (cJSON_IsString(value) != 0 && *value->valuestring == '\0');
        AddMember(values.get(), item->string, Json(isEmpty ? cJSON_CreateNull() : cJSON_Duplicate(value, 1)));
    }
    return values;
}

Outcome UnknownItems(const std::vector<std::string>& items)
{
    std::vector<std::string> known;
    known.reserve(LABELS.size());
    for (const auto& row : LABELS) {
        known.emplace_back(row[0]);
    }
    std::string list;
    for (const std::string& item : items) {
        const std::string close = ClosestOf(item, known);
        list += (list.empty() ? "\"" : ", \"") + EscapeHidden(item) + "\"" +
                (close.empty() ? "" : " (did you mean " + close + "?)");
    }
    return NotDone("the service knows no item " + list,
                   "It knows " + known[0] + ", " + known[1] + " and " + known[2] + ".");
}

// Returns a readable line for a capability item. It contains the label of the item and its value in words.
std::string InfoLine(const cJSON* item)
{
    std::string label = item->string;
    for (const auto& row : LABELS) {
        if (label == row[0]) {
            label = row[1];
        }
    }
    const cJSON* value = cJSON_GetObjectItemCaseSensitive(item, "value");
    std::string text = "not available";
    if (cJSON_IsBool(value)) {
        text = cJSON_IsTrue(value) != 0 ? "yes" : "no";
    } else if (cJSON_IsString(value) && *value->valuestring != '\0') {
        text = EscapeHidden(value->valuestring);
    }
    return Column(label, 24) + text;
}

// Converts a list of devices to JSON. Adds to each device the member "facts": its DeviceFacts, or null.
Json DevicesWithFacts(const Host::DeviceList& list, const std::vector<Host::DeviceFacts>& facts)
{
    Json details = Host::ToJson(list);
    cJSON* device = cJSON_GetObjectItemCaseSensitive(details.get(), "devices")->child;
    for (const Peer& peer : list.devices) {
        const Host::DeviceFacts* said = FactsOf(peer.networkId, facts);
        AddMember(device, "facts", said != nullptr ? Host::ToJson(*said) : Json(cJSON_CreateNull()));
        device = device->next;
    }
    return details;
}

}  // namespace

int RunDevices(const GlobalOptions& options, Output& output, bool scans)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        if (auto removed = WhyRemoved(client)) {
            return *std::move(removed);
        }
        Host::DeviceList list;
        if (scans) {
            output.Status("trying every device");
        }
        const Client::CallResult call = scans ? client.ScanDevices(list.devices) : client.GetDevices(list.devices);
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        const std::vector<Peer> peers = Printable(list.devices);
        Host::OnlineStatus online;  // stays empty if the request fails; an older daemon does not support it
        (void)client.GetOnline(online);
        Json details = DevicesWithFacts(list, online.facts);
        if (peers.empty()) {
            return Done(output.IsJson() ? "no other device of this account has been met"
                                        : "No other device of this account has been met yet.\n"
                                          "`distnetctl account invite` lets one join.",
                        std::move(details));
        }
        for (const std::string& line : PeerTable(peers, Printable(online.facts))) {
            output.Line(line);
        }
        return Done(output.IsJson() ? std::to_string(peers.size()) + " devices" : "", std::move(details));
    });
}

int RunStop(const GlobalOptions& options, Output& output, const std::string& word)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        Outcome failure;
        const std::optional<Peer> peer = FindPeer(client, word, failure);
        if (!peer) {
            return failure;
        }
        const Client::CallResult call = client.StopDistributedNetwork(0, 0, peer->networkId);
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        return Done(Wrapped("The service was told that " + peer->name +
                            " is no longer needed. This closes nothing: `distnetctl down` leaves " + peer->name +
                            "'s Wi-Fi and asks " + peer->name + " to close its hotspot."),
                    PeerDetails(*peer));
    });
}

int RunInfo(const GlobalOptions& options, Output& output, const std::vector<std::string>& items)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        std::string json;
        const Client::CallResult call = client.GetRemoteDeviceInfo(items, json);
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        Json answer = ParseJson(json);
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, answer.get())
        {
            output.Line(InfoLine(item));
        }
        const std::vector<std::string> unknown = ItemsNotIn(answer.get(), items);
        Outcome outcome = unknown.empty() ? Done("") : UnknownItems(unknown);
        outcome.details = NewObject();
        AddMember(outcome.details.get(), "items", ItemValues(answer.get()));
        AddMember(outcome.details.get(), "unknown", Host::ToJson(unknown));
        return outcome;
    });
}

}  // namespace Vexo::Ctl
