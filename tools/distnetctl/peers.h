// Which device a person means by a name, a network id, or the beginning of either. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Ctl {

struct Peer {
    std::string name;
    std::string type;
    std::string networkId;
    bool online = false;
    std::string lastSeen;  // RFC 3339
};

// A 64-digit hex network id, of a known device or not.
bool IsNetworkId(const std::string& word);

// The one peer that the word names: its name or network id as a whole, else the only one that begins with it. A whole
// network id that nobody has is passed through: the service decides. The error suggests a name that is close.
Result<Peer> ResolvePeer(const std::string& word, const std::vector<Peer>& peers);

// The devices of a GET_DEVICES answer.
std::vector<Peer> ParsePeers(const std::string& json);

}  // namespace Vexo::Ctl
