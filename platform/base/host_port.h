// HOST:PORT, the notation of a listening address in configurations and announcements. Functions without state that do
// not resolve names. Any thread. No call blocks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/result.h"

namespace Vexo {

struct HostPort {
    std::string host;  // a name or an address, without brackets
    uint16_t port = 0;
};

// Parses a host name, an IPv4 address, or an IPv6 address in brackets, followed by a colon and a port from 0 to 65535:
// "[fe80::1%eth0]:4700". Returns MALFORMED for anything else.
[[nodiscard]] Result<HostPort> ParseHostPort(const std::string& text);

// Returns the text that ParseHostPort parses as this address.
std::string ToText(const HostPort& address);

}  // namespace Vexo
