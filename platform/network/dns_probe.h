// Finds out whether a network leads to the internet, with a DNS query for the name servers of the root (RFC 1035,
// section 4; RFC 8109). Every resolver can answer that query, and no captive portal needs it. Any thread. Except for
// AskRootServers, pure functions.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Network {

// Returns the query with that id: recursion desired, one question (".", NS, IN).
std::vector<uint8_t> EncodeRootQuery(uint16_t id);
// Succeeds if the bytes are an answer to that query with at least one NS record of the root. The error says what is
// wrong with the bytes. It is REFUSED for an answer with an error code or without such a record, else MALFORMED.
[[nodiscard]] Result<void> CheckRootAnswer(uint16_t id, const uint8_t* data, size_t size);

// Asks the name servers (IPv4, port 53) one after the other, and again, until one gives a good answer, the deadline has
// passed or isCancelled returns true. isCancelled is called at least every 100 ms. interface: the sockets are bound to
// it (SO_BINDTODEVICE); empty: not bound. port: for tests. Returns the error of the last try. Blocks.
[[nodiscard]] Result<void> AskRootServers(const std::vector<std::string>& nameServers, const std::string& interface,
                                          SteadyTime deadline, const std::function<bool()>& isCancelled,
                                          uint16_t port = 53);

}  // namespace Vexo::Network
