// Fuzzes the decoder of the kernel's netlink messages about the stations of a hotspot. An input is the part of a
// message after the netlink header.
#include "backends/linux/stations.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <algorithm>

#include <cstring>

#include "fuzz/fuzz_target.h"
#include "platform/base/hex.h"

namespace Vexo::Linux {
namespace {

std::string Attribute(uint16_t type, const std::string& value)
{
    const nlattr header{static_cast<uint16_t>(NLA_HDRLEN + value.size()), type};
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof(header));
    bytes += value;
    bytes.resize(NLA_ALIGN(bytes.size()));
    return bytes;
}

std::string Message(const std::string& counters)
{
    const genlmsghdr header{NL80211_CMD_NEW_STATION, 1, 0};
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) +
           Attribute(NL80211_ATTR_IFINDEX, std::string("\3\0\0\0", 4)) +
           Attribute(NL80211_ATTR_MAC, std::string("\2\0\x5e\x10\0\1", 6)) + Attribute(NL80211_ATTR_STA_INFO, counters);
}

std::vector<std::string> Samples()
{
    return {Message(Attribute(NL80211_STA_INFO_RX_BYTES64, "8 bytes.") +
                    Attribute(NL80211_STA_INFO_TX_BYTES64, "another.")),
            Message(Attribute(NL80211_STA_INFO_RX_BYTES, "four") + Attribute(NL80211_STA_INFO_TX_BYTES, "more"))};
}

// Returns whether the input contains an attribute of the given type. value: the first bytes of this attribute's value.
bool HasAttribute(std::string_view input, uint16_t type, std::string_view value)
{
    for (size_t at = input.find(value); at != input.npos; at = input.find(value, at + 1)) {
        nlattr header{};
        if (at >= sizeof(header)) {
            std::memcpy(&header, input.data() + at - sizeof(header), sizeof(header));
        }
        if ((header.nla_type & NLA_TYPE_MASK) == type && header.nla_len >= NLA_HDRLEN + value.size()) {
            return true;
        }
    }
    return false;
}

// Returns whether the input contains the counter. wide, narrow: the types of the attributes that contain this counter
// with 64 bits and with 32 bits. A counter of 0 needs no attribute, because a counter that the message lacks is 0.
bool HasCounter(std::string_view input, uint64_t counter, uint16_t wide, uint16_t narrow)
{
    const std::string_view bytes(reinterpret_cast<const char*>(&counter), sizeof(counter));
    return counter == 0 || HasAttribute(input, wide, bytes) ||
           (counter <= UINT32_MAX && HasAttribute(input, narrow, bytes.substr(0, sizeof(uint32_t))));
}

bool Run(std::string_view input)
{
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof(header) + input.size());
    std::vector<char> message(header.nlmsg_len);  // exactly of the message's size, so that reads beyond it are detected
    std::memcpy(message.data(), &header, sizeof(header));
    std::copy(input.begin(), input.end(), message.begin() + sizeof(header));
    const auto station = DecodeStation(reinterpret_cast<nlmsghdr*>(message.data()));
    if (!station) {
        return false;
    }
    std::string mac = station->macAddress;
    std::erase(mac, ':');
    const std::string address = BytesOfHex(mac);
    Fuzz::Require(address.size() == 6 && HasAttribute(input, NL80211_ATTR_MAC, address),
                  "the message has the station's address");
    Fuzz::Require(HasCounter(input, station->receivedBytes, NL80211_STA_INFO_RX_BYTES64, NL80211_STA_INFO_RX_BYTES) &&
                      HasCounter(input, station->sentBytes, NL80211_STA_INFO_TX_BYTES64, NL80211_STA_INFO_TX_BYTES),
                  "the message has the counters");
    return true;
}

const Fuzz::Registration REGISTRATION({"netlink_stations", Samples, Run});

}  // namespace
}  // namespace Vexo::Linux
