#include "tools/distnetctl/peers.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/hex.h"
#include "platform/base/text.h"
#include "tools/distnetctl/facts_view.h"
#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

bool IsNetworkId(const std::string& word)
{
    return IsHexId(word);
}

Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers)
{
    std::vector<const Peer*> whole;
    std::vector<const Peer*> partly;
    std::vector<std::string> names;
    for (const Peer& peer : peers) {
        if (peer.networkId == word) {
            return peer;
        }
        if (peer.name == word) {
            whole.push_back(&peer);
        }
        if (!word.empty() &&
            (peer.name.starts_with(word) || peer.networkId.starts_with(word) || FitsShortId(word, peer.networkId))) {
            partly.push_back(&peer);
        }
        names.push_back(peer.name);
    }
    const std::vector<const Peer*>& found = whole.empty() ? partly : whole;
    if (found.size() == 1) {
        return *found.front();
    }
    if (found.size() > 1) {
        std::string list;
        for (const Peer* peer : found) {
            list += (list.empty() ? "" : ", ") + peer->name + " (" + ShortId(peer->networkId) + ")";
        }
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "\"" + word + "\" could be any of " + list +
                        "; name more of the network id, which `distnetctl --json devices` shows whole");
    }
    if (IsNetworkId(word)) {
        Peer unknown;
        unknown.name = ShortId(word);
        unknown.networkId = word;
        return unknown;
    }
    const std::string close = ClosestOf(word, names);
    return Fail(ErrorCode::NOT_FOUND, "no trusted device is called \"" + word + "\"" +
                                          (close.empty() ? "" : "; did you mean \"" + close + "\"?"));
}

bool IsKnown(const Peer& peer)
{
    return !peer.deviceId.empty();
}

namespace {

bool NamesThisDevice(Client::DistNetClient& client, const std::string& word)
{
    Host::HostStatus status;
    return client.GetStatus(status).Succeeded() && (word == status.device.name || word == status.device.networkId ||
                                                    FitsShortId(word, status.device.networkId));
}

// Calls ResolvePeer with the devices that the daemon knows. If the daemon does not answer, returns no value, and the
// parameter failure receives the outcome with which the command must end.
std::optional<Result<Peer>> ResolveAmongKnown(Client::DistNetClient& client, const std::string& word, Outcome& failure)
{
    std::vector<Peer> peers;
    if (const Client::CallResult call = client.GetDevices(peers); !call.Succeeded()) {
        failure = FromCall(call);
        return std::nullopt;
    }
    return ResolvePeer(word, Printable(std::move(peers)));
}

// Returns true if ResolvePeer found no device that the daemon knows. Returns false if several known devices match.
bool FitsNoKnownDevice(const Result<Peer>& peer)
{
    return peer ? !IsKnown(peer.value()) : peer.error().code == ErrorCode::NOT_FOUND;
}

}  // namespace

std::optional<Peer> FindPeer(Client::DistNetClient& client, const std::string& word, Outcome& failure,
                             const std::function<void()>& scan)
{
    std::optional<Result<Peer>> peer = ResolveAmongKnown(client, word, failure);
    if (!peer) {
        return std::nullopt;
    }
    if ((!*peer || !IsKnown(peer->value())) && NamesThisDevice(client, word)) {
        failure = UsageError("\"" + word + "\" is this device itself", "`distnetctl devices` lists the others.");
        return std::nullopt;
    }
    const bool scans = scan && !word.empty() && FitsNoKnownDevice(*peer);
    if (scans) {
        scan();
        peer = ResolveAmongKnown(client, word, failure);
        if (!peer) {
            return std::nullopt;
        }
    }
    if (!*peer) {
        failure = UsageError(peer->error().message,
                             scans && FitsNoKnownDevice(*peer)
                                 ? "It is not nearby either: switch it on in reach, or see `distnetctl devices`."
                                 : "`distnetctl devices` lists them.");
        return std::nullopt;
    }
    return std::move(peer->value());
}

Json PeerDetails(const Peer& peer)
{
    Json details = NewObject();
    AddText(details.get(), "device_name", peer.name);
    AddText(details.get(), "network_id", peer.networkId);
    return details;
}

std::string LastSeenText(const Peer& peer)
{
    if (peer.online) {
        return "now";
    }
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::System().WallNow() - peer.lastSeen);
    return RoughDuration(std::max(passed, std::chrono::seconds(0))) + " ago";
}

namespace {

constexpr size_t FACTS_INDENT = 2;

std::string PeerColumns(size_t nameWidth, const std::array<std::string, 5>& texts)
{
    return Column(texts[0], nameWidth) + "  " + Column(texts[1], 7) + " " + Column(texts[2], 11) + " " +
           Column(texts[3], 10) + " " + Column(texts[4], 9);
}

}  // namespace

std::string PeerHeading(size_t nameWidth)
{
    return PeerColumns(nameWidth, {"NAME", "TYPE", "NETWORK ID", "LAST SEEN", "STATE"});
}

std::string PeerLine(const Peer& peer, size_t nameWidth)
{
    return PeerColumns(nameWidth, {peer.name, NameOf(peer.type), ShortId(peer.networkId), LastSeenText(peer),
                                   peer.online ? "reachable" : "away"});
}

const Host::DeviceFacts* FactsOf(const std::string& networkId, const std::vector<Host::DeviceFacts>& facts)
{
    const auto found = std::find_if(facts.begin(), facts.end(), [&](const Host::DeviceFacts& candidate) {
        return candidate.networkId == networkId;
    });
    return found == facts.end() ? nullptr : &*found;
}

std::vector<std::string> PeerTable(const std::vector<Peer>& peers, const std::vector<Host::DeviceFacts>& facts)
{
    size_t longestName = std::string_view("NAME").size();
    size_t longestTransport = std::string_view("OVER").size();
    for (const Peer& peer : peers) {
        longestName = std::max(longestName, TextWidth(peer.name));
        longestTransport = std::max(longestTransport, TextWidth(TransportText(peer)));
    }
    const size_t others = PEER_COLUMNS_WIDTH + 1 + longestTransport;
    const size_t room = COLUMNS - std::min(others, COLUMNS);
    const size_t nameWidth = std::min(longestName, std::max(room, MIN_NAME_WIDTH));
    std::vector<std::string> lines{PeerHeading(nameWidth) + " OVER"};
    for (const Peer& peer : peers) {
        lines.push_back(PeerLine(peer, nameWidth) + " " + TransportText(peer));
        const Host::DeviceFacts* said = FactsOf(peer.networkId, facts);
        const std::string text = said != nullptr ? FactsText(*said, Clock::System().WallNow()) : "";
        for (const std::string& line : Wrap(text, COLUMNS - FACTS_INDENT)) {
            lines.push_back(std::string(FACTS_INDENT, ' ') + line);
        }
    }
    return lines;
}

std::string TransportText(const Peer& peer)
{
    // A Bluetooth address is not shown, because it changes and is of no use to a person.
    return peer.transport == "tcp"         ? "LAN" + (peer.address.empty() ? "" : " " + peer.address)
           : peer.transport == "bluetooth" ? "Bluetooth"
                                           : peer.transport;
}

std::string ReachableText(const std::vector<Peer>& peers)
{
    std::string list;
    for (const Peer& peer : peers) {
        if (peer.online) {
            list += (list.empty() ? "" : ", ") + peer.name + " over " + TransportText(peer);
        }
    }
    return !list.empty()   ? list
           : peers.empty() ? "no other device has been met"
                           : "none (" + std::to_string(peers.size()) + " known)";
}

}  // namespace Vexo::Ctl
