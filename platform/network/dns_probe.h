// The DNS query by which this device finds out whether a network leads to the internet: the name servers of the root
// (RFC 1035, section 4; RFC 8109), which every resolver knows and no captive portal needs. Pure functions but for
// AskRootServers; any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Network {

// The bytes of the query with that id: recursion desired, one question (".", NS, IN).
std::vector<uint8_t> EncodeRootQuery(uint16_t id);
// Whether the bytes are an answer to that query which holds at least one NS record of the root. The error says what is
// wrong with the bytes; an answer without such a record, or with an error code, is REFUSED.
[[nodiscard]] Result<void> CheckRootAnswer(uint16_t id, const uint8_t* data, size_t size);

// Asks the name servers (IPv4, port 53), one after the other and again, until one answers well, the deadline has passed
// or isCancelled, which is read at least every 100 ms. interface: the sockets are bound to it (SO_BINDTODEVICE); empty:
// not bound. port: for tests. The error is that of the last try. Blocks.
[[nodiscard]] Result<void> AskRootServers(const std::vector<std::string>& nameServers, const std::string& interface,
                                          SteadyTime deadline, const std::function<bool()>& isCancelled,
                                          uint16_t port = 53);

}  // namespace Vexo::Network
