#include "tools/distnetctl/peers.h"

#include <algorithm>
#include <ctime>

#include "platform/base/text.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

bool IsNetworkId(const std::string& word)
{
    return word.size() == 64 && word.find_first_not_of("0123456789abcdef") == std::string::npos;
}

Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers)
{
    std::vector<const Peer*> whole;
    std::vector<const Peer*> beginning;
    std::vector<std::string> names;
    for (const Peer& peer : peers) {
        if (peer.networkId == word) {
            return peer;
        }
        if (peer.name == word) {
            whole.push_back(&peer);
        }
        if (!word.empty() && (peer.name.starts_with(word) || peer.networkId.starts_with(word))) {
            beginning.push_back(&peer);
        }
        names.push_back(peer.name);
    }
    const std::vector<const Peer*>& found = whole.empty() ? beginning : whole;
    if (found.size() == 1) {
        return *found.front();
    }
    if (found.size() > 1) {
        std::string list;
        for (const Peer* peer : found) {
            list += (list.empty() ? "" : ", ") + peer->name + " (" + peer->networkId.substr(0, 12) + "…)";
        }
        return Error{"\"" + word + "\" could be any of " + list + "; name more of the network id"};
    }
    if (IsNetworkId(word)) {
        Peer unknown;
        unknown.name = word.substr(0, 5) + "…" + word.substr(word.size() - 5);
        unknown.networkId = word;
        return unknown;
    }
    const std::string close = ClosestOf(word, names);
    return Error{"no trusted device is called \"" + word + "\"" +
                 (close.empty() ? "" : "; did you mean \"" + close + "\"?")};
}

std::vector<Peer> ParsePeers(const std::string& json)
{
    std::vector<Peer> peers;
    const Json document = ParseJson(json);
    const cJSON* devices = cJSON_GetObjectItemCaseSensitive(document.get(), "devices");
    const cJSON* device = nullptr;
    cJSON_ArrayForEach(device, devices)
    {
        peers.push_back({TextOf(device, "name"), TextOf(device, "type", "unknown"), TextOf(device, "network_id"),
                         IsTrue(device, "online"), TextOf(device, "last_seen")});
    }
    return peers;
}

std::string Ago(const Peer& peer)
{
    if (peer.online) {
        return "now";
    }
    std::tm parts{};
    if (strptime(peer.lastSeen.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) == nullptr) {
        return "unknown";
    }
    return LongDurationText(std::max<int64_t>(0, std::time(nullptr) - timegm(&parts))) + " ago";
}

std::string PeerLine(const Peer& peer)
{
    return Column(peer.name, 20) + " " + Column(peer.type, 9) + " " + Column(ShortId(peer.networkId), 14) + " " +
           Column(Ago(peer), 11) + " " + (peer.online ? "reachable" : "away");
}

}  // namespace Vexo::Ctl
