// The other devices of the account: prints them, and finds one by its name, its network id, the beginning of either, or
// the short form of the id. Functions without state; any thread. Only FindPeer blocks: it waits for the daemon's
// answers.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/distnet_client.h"
#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

using Peer = Host::KnownDevice;

// Whether word has the form of a network id: 64 hex digits. The device need not be known.
bool IsNetworkId(const std::string& word);

// False for a peer that ResolvePeer made from a typed network id that no known device has.
bool IsKnown(const Peer& peer);

// The peer that word names: the one whose name or network id is word; if there is none, the only one whose name or
// network id begins with word or has word as its short form. For a complete network id that no peer has, returns a peer
// with only this id, so that the service decides. The error lists the peers that word fits, or suggests a similar name.
[[nodiscard]] Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers);

// ResolvePeer among the daemon's known devices; the texts of the result are printable. Returns no value on failure,
// also when word names this device itself; failure is then the outcome to finish with. scan, if given, is called when
// word fits no known device, before the known devices are read once more: it makes the daemon look for new ones.
std::optional<Peer> FindPeer(Client::DistNetClient& client, const std::string& word, Outcome& failure,
                             const std::function<void()>& scan = nullptr);

// {"peer", "network_id"}: the first members of the details of an outcome about one peer.
Json PeerDetails(const Peer& peer);

// The time since the last contact with the peer: "now", "5 min ago", "2 h ago", "3 d ago".
std::string LastSeenText(const Peer& peer);
// The heading of a list of devices, and the line of one device: a column of nameWidth for the name, and others that
// take PEER_COLUMNS_WIDTH.
std::string PeerHeading(size_t nameWidth);
std::string PeerLine(const Peer& peer, size_t nameWidth);
inline constexpr size_t PEER_COLUMNS_WIDTH = 42;
// The lines of the list of devices, with WayText as the last column; below a device, what it has said of itself
// (facts). Names are cut to MIN_NAME_WIDTH if the lines would be wider than 80 columns.
std::vector<std::string> PeerTable(const std::vector<Peer>& peers, const std::vector<Host::DeviceFacts>& facts = {});
// The facts of that device; null if there are none.
const Host::DeviceFacts* FactsOf(const std::string& networkId, const std::vector<Host::DeviceFacts>& facts);
inline constexpr size_t MIN_NAME_WIDTH = 12;
// How the device would be tried first: "LAN 192.0.2.7:11630", "Bluetooth". For a device that is away this is where it
// was reached before. Empty for an unknown device.
std::string WayText(const Peer& peer);
// The reachable ones of the peers: "phone over LAN 192.0.2.7:11630, tablet over Bluetooth".
std::string ReachableText(const std::vector<Peer>& peers);

}  // namespace Vexo::Ctl
