#include "platform/base/host_port.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <string_view>

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

// With or without a scope: an interface's name or number.
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
    HostPort address{text.substr(0, colon), 0};
    const bool isBracketed = address.host.starts_with('[') && address.host.ends_with(']');
    if (isBracketed) {
        address.host = address.host.substr(1, address.host.size() - 2);
    }
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(std::min(text.data() + colon + 1, end), end, address.port);
    if (error != std::errc() || stopped != end ||
        !(isBracketed ? IsIpv6Address(address.host) : IsHostName(address.host))) {
        return Fail(ErrorCode::MALFORMED,
                    "\"" + text + "\" is not HOST:PORT (port 0 to 65535, IPv6 hosts in brackets)");
    }
    return address;
}

std::string ToText(const HostPort& address)
{
    const bool isIpv6 = address.host.find(':') != std::string::npos;
    return (isIpv6 ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

}  // namespace Vexo
