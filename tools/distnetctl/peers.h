// Formats the other devices of the account, and finds a device by its name, its network id, the beginning of either, or
// the short form of the id. Stateless functions; any thread. Only FindPeer blocks: it waits for the daemon's answers.
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

// Returns whether word has the form of a network id: 64 hex digits. The device need not be known.
bool IsNetworkId(const std::string& word);

// Returns false for a peer that ResolvePeer created from the network id of an unknown device.
bool IsKnown(const Peer& peer);

// Finds the peer whose name or network id is word; if no peer matches, the only peer whose name or network id begins
// with word, or whose short id is word. For a complete network id of no known peer, returns a peer with only this id,
// so that the service decides about it. The error lists the peers that match, or suggests a similar name.
[[nodiscard]] Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers);

// Calls ResolvePeer with the daemon's known devices; the texts of the result are printable (printable.h). Returns no
// value on failure, also if word names this device itself; failure is then the outcome to finish with. If word matches
// no known device, calls scan (if given), which makes the daemon search for devices, and reads the known devices again.
std::optional<Peer> FindPeer(Client::DistNetClient& client, const std::string& word, Outcome& failure,
                             const std::function<void()>& scan = nullptr);

// {"device_name", "network_id"}: the first members of the details of an outcome about one peer.
Json PeerDetails(const Peer& peer);

// The time since the last contact with the peer: "now", "5 min ago", "2 h ago", "3 d ago".
std::string LastSeenText(const Peer& peer);
// The heading of a list of devices, and the line of one device: a name column of nameWidth, followed by other columns
// of PEER_COLUMNS_WIDTH together.
std::string PeerHeading(size_t nameWidth);
std::string PeerLine(const Peer& peer, size_t nameWidth);
inline constexpr size_t PEER_COLUMNS_WIDTH = 42;
// The lines of the list of devices, with TransportText as the last column. Below each device, a line with its facts.
// Names are cut, to not less than MIN_NAME_WIDTH, if the lines would be wider than 80 columns.
std::vector<std::string> PeerTable(const std::vector<Peer>& peers, const std::vector<Host::DeviceFacts>& facts = {});
// Returns the facts of the device; null if there are none.
const Host::DeviceFacts* FactsOf(const std::string& networkId, const std::vector<Host::DeviceFacts>& facts);
inline constexpr size_t MIN_NAME_WIDTH = 12;
// The transport and address by which the device is tried first: "LAN 192.0.2.7:11630", "Bluetooth". For a device that
// is away, those by which it was last reached. Empty for an unknown device.
std::string TransportText(const Peer& peer);
// Lists the peers that are reachable: "phone over LAN 192.0.2.7:11630, tablet over Bluetooth".
std::string ReachableText(const std::vector<Peer>& peers);

}  // namespace Vexo::Ctl
