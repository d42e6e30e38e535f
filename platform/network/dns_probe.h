// Checks whether a network leads to the internet. The check is a DNS query for the name servers of the DNS root (RFC
// 1035, section 4; RFC 8109). Every resolver can answer that query, but a captive portal (a network's login page) has
// no need to answer it. Thread-safe. AskRootServers blocks; the other functions are pure.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Network {

// Returns the query for the name servers of the root: recursion desired, one question (".", NS, IN). id: the DNS id of
// the query.
std::vector<uint8_t> EncodeRootQuery(uint16_t id);
// Checks an answer to the query that EncodeRootQuery returned for this id. Succeeds if the answer contains an NS record
// of the root. Fails with REFUSED if the answer has an error code or no such record, and with MALFORMED for any other
// bytes. The error's message says what is wrong.
[[nodiscard]] Result<void> CheckRootAnswer(uint16_t id, const uint8_t* data, size_t size);

// Sends the query to the name servers (IPv4) one after the other, again and again. Succeeds when CheckRootAnswer
// accepts an answer. Returns the error of the last try when the deadline has passed or isCancelled returns true.
// Blocks; calls isCancelled at least every 100 ms.
// interface: the interface to which the sockets are bound (SO_BINDTODEVICE); empty: not bound. port: only tests change
// it.
[[nodiscard]] Result<void> AskRootServers(const std::vector<std::string>& nameServers, const std::string& interface,
                                          SteadyTime deadline, const std::function<bool()>& isCancelled,
                                          uint16_t port = 53);

}  // namespace Vexo::Network
