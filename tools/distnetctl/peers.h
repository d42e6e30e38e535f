// The devices of the account: how they are listed, and which one a person means by a name, a network id, the beginning
// of either, or the short form of the id. Functions without state; FindPeer blocks for the daemon's answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/distnet_client.h"
#include "interfaces/host_answers.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

using Peer = Host::KnownDevice;

// A 64-digit hex network id, of a known device or not.
bool IsNetworkId(const std::string& word);

// False for a network id that a person typed and that is no known device's.
bool IsKnown(const Peer& peer);

// The one peer that the word names: its name or network id as a whole, else the only one that begins with it or whose
// network id it is the short form of. A whole network id that nobody has is passed through: the service decides. The
// error names those that it could be, or suggests a name that is close.
[[nodiscard]] Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers);

// The same among the devices that the daemon knows, with printable texts; none with the outcome that says why, also
// for this device itself.
std::optional<Peer> FindPeer(Client::DistNetClient& client, const std::string& word, Outcome& failure);

// {"peer", "network_id"}: what begins the details of an outcome that is about one peer.
Json PeerDetails(const Peer& peer);

// "now", "5 min ago", "2 h ago", "3 d ago".
std::string Ago(const Peer& peer);
// A line of the list of devices, under its heading.
inline constexpr const char* PEER_HEADING = "NAME                 TYPE      NETWORK ID     LAST SEEN   STATE";
std::string PeerLine(const Peer& peer);
inline constexpr size_t PEER_LINE_WIDTH = 71;
// Over what and where the device was reached last: "tcp 192.0.2.7:11630". Empty for one that was never met.
std::string ReachedAt(const Peer& peer);

}  // namespace Vexo::Ctl
