#include "platform/base/host_port.h"

#include <arpa/inet.h>

#include <algorithm>
#include <string_view>

#include "platform/base/number.h"

namespace Vexo {
namespace {

constexpr size_t MAX_HOST_NAME = 253;

bool IsHostName(std::string_view text)
{
    return !text.empty() && text.size() <= MAX_HOST_NAME && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
               c == '_';
    });
}

// Returns true if the text is an IPv6 address. A scope may follow the address: "%" and an interface's name or number.
bool IsIpv6Address(const std::string& text)
{
    const size_t scope = std::min(text.find('%'), text.size());
    in6_addr parsed{};
    return text.find('\0') == std::string::npos &&
           (scope == text.size() || IsHostName(std::string_view(text).substr(scope + 1))) &&
           ::inet_pton(AF_INET6, text.substr(0, scope).c_str(), &parsed) == 1;
}

}  // namespace

Result<HostPort> ParseHostPort(const std::string& text)
{
    const size_t colon = std::min(text.rfind(':'), text.size());
    const std::string before = text.substr(0, colon);
    const bool isBracketed = before.starts_with('[') && before.ends_with(']');
    const std::string host = isBracketed ? before.substr(1, before.size() - 2) : before;
    const auto port = ParseNumber<uint16_t>(text.substr(std::min(colon + 1, text.size())));
    if (!port || !(isBracketed ? IsIpv6Address(host) : IsHostName(host))) {
        return Fail(ErrorCode::MALFORMED,
                    "\"" + text + "\" is not HOST:PORT (port 0 to 65535, IPv6 hosts in brackets)");
    }
    return HostPort{host, *port};
}

std::string ToText(const HostPort& address)
{
    const bool isIpv6 = address.host.find(':') != std::string::npos;
    return (isIpv6 ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

}  // namespace Vexo
