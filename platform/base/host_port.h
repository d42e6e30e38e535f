// HOST:PORT, the notation of a listening address in configurations and announcements. Functions without state, which
// resolve no names. Any thread. No call blocks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/result.h"

namespace Vexo {

struct HostPort {
    std::string host;  // a name or an address, without brackets
    uint16_t port = 0;
};

// A host name or IPv4 address, or an IPv6 address in brackets ("[fe80::1%eth0]:4700"), and a port of 0 to 65535.
// MALFORMED for anything else.
[[nodiscard]] Result<HostPort> ParseHostPort(const std::string& text);

// The text that ParseHostPort reads.
std::string ToText(const HostPort& address);

}  // namespace Vexo
