// Formats the other devices of the account. Also finds a device by its name, by its network id, by the first characters
// of the name or the id, or by the short form of the id. Stateless functions; any thread. Only FindPeer blocks, because
// it waits for answers of the daemon.
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

// Returns true if the text has the form of a network id, which is 64 hex digits. A device with this id need not exist.
bool IsNetworkId(const std::string& word);

// Returns false if the daemon does not know the device. ResolvePeer can create a Peer from the network id of such a
// device.
bool IsKnown(const Peer& peer);

// Finds a peer. word: the name or the network id of the peer. If no peer has this name or id, the result is the only
// peer whose name or network id begins with this text, or whose short id is this text. If the text is a complete
// network id that no peer has, returns a Peer that has only this id, so that the service accepts or refuses the device.
// An error message lists the peers that match, or suggests a similar name.
[[nodiscard]] Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers);

// Calls ResolvePeer with the devices that the daemon knows. The texts of the result are printable (printable.h). If no
// known device matches, calls the function scan (if given), which makes the daemon search for devices, and then calls
// ResolvePeer again. Returns no value if the daemon does not answer, if no single device matches, or if the user named
// this device itself. In these cases the parameter failure receives the outcome with which the command must end.
std::optional<Peer> FindPeer(Client::DistNetClient& client, const std::string& word, Outcome& failure,
                             const std::function<void()>& scan = nullptr);

// Returns the JSON object {"device_name", "network_id"}. These are the first members of "details" in an outcome about
// one peer.
Json PeerDetails(const Peer& peer);

// Returns how long ago the peer was last reached: "now", "5 min ago", "2 h ago", "3 d ago".
std::string LastSeenText(const Peer& peer);
// PeerHeading returns the heading of a list of devices, PeerLine the line of one device. Each line has a column for the
// name, of width nameWidth. The other columns need PEER_COLUMNS_WIDTH in total.
std::string PeerHeading(size_t nameWidth);
std::string PeerLine(const Peer& peer, size_t nameWidth);
inline constexpr size_t PEER_COLUMNS_WIDTH = 42;
// Returns the lines of the list of devices. The last column shows TransportText. The DeviceFacts of a device, if any,
// follow below its line. Long names are cut to keep lines within 80 columns, but not to less than MIN_NAME_WIDTH.
std::vector<std::string> PeerTable(const std::vector<Peer>& peers, const std::vector<Host::DeviceFacts>& facts = {});
// Returns the DeviceFacts of the device with the given network id, or null if there are none.
const Host::DeviceFacts* FactsOf(const std::string& networkId, const std::vector<Host::DeviceFacts>& facts);
inline constexpr size_t MIN_NAME_WIDTH = 12;
// Returns the transport and the address that are tried first to reach the device: "LAN 192.0.2.7:11630", "Bluetooth".
// For a device that is away, returns the transport and the address of the last contact. Empty for an unknown device.
std::string TransportText(const Peer& peer);
// Lists the peers that can be reached: "phone over LAN 192.0.2.7:11630, tablet over Bluetooth".
std::string ReachableText(const std::vector<Peer>& peers);

}  // namespace Vexo::Ctl
