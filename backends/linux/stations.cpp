#include "backends/linux/stations.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <system_error>
#include <vector>

#include "platform/base/unique_fd.h"

namespace Vexo::Linux {
namespace {

constexpr int ANSWER_LIMIT_SECONDS = 1;
constexpr size_t BUFFER_BYTES = 32768;  // a station's record takes less than 2 KiB

Error ErrorOf(const std::string& step, int code)
{
    return Error{step + ": " + std::generic_category().message(code)};
}

// A generic netlink request with one attribute, ready to send.
std::vector<char> MakeRequest(uint16_t family, uint16_t flags, uint8_t command, uint16_t attribute, const void* value,
                              size_t size)
{
    std::vector<char> request(NLMSG_SPACE(GENL_HDRLEN) + NLA_HDRLEN + NLA_ALIGN(size), 0);
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(request.size());
    header.nlmsg_type = family;
    header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    const genlmsghdr generic{command, 1, 0};
    const nlattr attributeHeader{static_cast<uint16_t>(NLA_HDRLEN + size), attribute};
    std::memcpy(request.data(), &header, sizeof(header));
    std::memcpy(request.data() + NLMSG_HDRLEN, &generic, sizeof(generic));
    char* const at = request.data() + NLMSG_HDRLEN + GENL_HDRLEN;
    std::memcpy(at, &attributeHeader, sizeof(attributeHeader));
    std::memcpy(at + NLA_HDRLEN, value, size);
    return request;
}

// The payload of an attribute of 16 bits.
std::optional<uint16_t> FindNumber(const char* at, const char* end, uint16_t wanted)
{
    while (end - at >= NLA_HDRLEN) {
        nlattr attribute{};
        std::memcpy(&attribute, at, sizeof(attribute));
        if (attribute.nla_len < NLA_HDRLEN || attribute.nla_len > end - at) {
            return std::nullopt;
        }
        if (attribute.nla_type == wanted && attribute.nla_len >= NLA_HDRLEN + 2) {
            uint16_t number = 0;
            std::memcpy(&number, at + NLA_HDRLEN, sizeof(number));
            return number;
        }
        at += NLA_ALIGN(attribute.nla_len);
    }
    return std::nullopt;
}

// Sends the request and hands each answer's attributes to the visitor until the kernel says that there are no more. The
// result is 0, or an error number.
template <typename Visitor>
int Ask(const UniqueFd& socket, const std::vector<char>& request, bool isDump, const Visitor& visit)
{
    if (::send(socket.Get(), request.data(), request.size(), 0) < 0) {
        return errno;
    }
    alignas(nlmsghdr) std::array<char, BUFFER_BYTES> buffer{};
    for (;;) {
        const ssize_t received = ::recv(socket.Get(), buffer.data(), buffer.size(), 0);
        if (received < 0) {
            return errno;
        }
        int left = static_cast<int>(received);
        for (const auto* header = reinterpret_cast<const nlmsghdr*>(buffer.data());
             NLMSG_OK(header, static_cast<unsigned>(left)); header = NLMSG_NEXT(header, left)) {
            const char* const payload = reinterpret_cast<const char*>(header) + NLMSG_HDRLEN;
            if (header->nlmsg_type == NLMSG_ERROR || header->nlmsg_type == NLMSG_DONE) {
                int code = 0;
                std::memcpy(&code, payload, sizeof(code));
                return -code;
            }
            visit(payload + GENL_HDRLEN, reinterpret_cast<const char*>(header) + header->nlmsg_len);
            if (!isDump) {
                return 0;
            }
        }
    }
}

}  // namespace

Result<size_t> CountStations(const std::string& interface)
{
    const uint32_t index = ::if_nametoindex(interface.c_str());
    if (index == 0) {
        return ErrorOf(interface, errno);
    }
    const UniqueFd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC));
    const timeval limit{ANSWER_LIMIT_SECONDS, 0};
    if (!socket || ::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0) {
        return ErrorOf("netlink", errno);
    }
    uint16_t family = 0;
    int failed = Ask(
        socket,
        MakeRequest(GENL_ID_CTRL, 0, CTRL_CMD_GETFAMILY, CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME,
                    sizeof(NL80211_GENL_NAME)),
        false, [&](const char* at, const char* end) { family = FindNumber(at, end, CTRL_ATTR_FAMILY_ID).value_or(0); });
    if (failed != 0 || family == 0) {
        return ErrorOf("nl80211", failed);
    }
    size_t count = 0;
    failed = Ask(socket,
                 MakeRequest(family, NLM_F_DUMP, NL80211_CMD_GET_STATION, NL80211_ATTR_IFINDEX, &index, sizeof(index)),
                 true, [&](const char*, const char*) { ++count; });
    if (failed != 0) {
        return ErrorOf("stations of " + interface, failed);
    }
    return count;
}

}  // namespace Vexo::Linux
