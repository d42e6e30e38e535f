// HOST:PORT, the notation for a listening address in configurations and announcements. The functions are thread-safe,
// do not resolve names and do not block.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/result.h"

namespace Vexo {

struct HostPort {
    std::string host;  // a name or an address, without brackets
    uint16_t port = 0;
};

// Parses a host name, an IPv4 address, or an IPv6 address in brackets, followed by a colon and a port from 0 to 65535,
// such as "[fe80::1%eth0]:4700". Returns MALFORMED for any other text.
[[nodiscard]] Result<HostPort> ParseHostPort(const std::string& text);

// Returns the address as text that ParseHostPort can parse.
std::string ToText(const HostPort& address);

}  // namespace Vexo
