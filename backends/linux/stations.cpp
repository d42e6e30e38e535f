#include "backends/linux/stations.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace Vexo::Linux {
namespace {

constexpr timeval ANSWER_LIMIT{.tv_sec = 1, .tv_usec = 0};
// The maximum number of reads of the list of stations. If a station joins or leaves during a read, the list is
// inconsistent and is read again.
constexpr int MAX_DUMPS = 3;
constexpr int MAC_SIZE = 6;

using Stations = std::vector<Wifi::ShareStation>;
using Socket = std::unique_ptr<nl_sock, decltype(&nl_socket_free)>;
using Message = std::unique_ptr<nl_msg, decltype(&nlmsg_free)>;

// Returns the Failure of a step. step: what was tried, as text. code: a negative error code of libnl.
Failure ErrorOf(const std::string& step, int code)
{
    return Fail(ErrorCode::SYSTEM, step + ": " + nl_geterror(code));
}

std::string MacText(const nlattr* attribute)
{
    const auto* const bytes = static_cast<const uint8_t*>(nla_data(attribute));
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3],
                  bytes[4], bytes[5]);
    return text.data();
}

// Returns the 64-bit counter, or the 32-bit counter if the driver is older. Returns 0 if the driver provides neither.
// wide, narrow: the attribute types of the 64-bit counter and of the 32-bit counter.
uint64_t BytesOf(nlattr* const* info, int wide, int narrow)
{
    return info[wide] != nullptr ? nla_get_u64(info[wide]) : info[narrow] != nullptr ? nla_get_u32(info[narrow]) : 0;
}

// Returns the sizes of the counters. With them, libnl rejects an attribute that is too short. Without them, libnl would
// read a counter beyond the end of its attribute.
std::array<nla_policy, NL80211_STA_INFO_MAX + 1> CounterSizes()
{
    std::array<nla_policy, NL80211_STA_INFO_MAX + 1> sizes{};
    sizes[NL80211_STA_INFO_RX_BYTES64].type = sizes[NL80211_STA_INFO_TX_BYTES64].type = NLA_U64;
    sizes[NL80211_STA_INFO_RX_BYTES].type = sizes[NL80211_STA_INFO_TX_BYTES].type = NLA_U32;
    return sizes;
}

int AddRecord(nl_msg* message, void* stations)
{
    std::optional<Wifi::ShareStation> station = DecodeStation(nlmsg_hdr(message));
    if (!station) {
        return NL_SKIP;
    }
    static_cast<Stations*>(stations)->push_back(std::move(*station));
    return NL_OK;
}

// Reads the list of stations once. Returns 0, or a negative error code of libnl.
int DumpStations(nl_sock* socket, int family, uint32_t interface, Stations& stations)
{
    const Message request(nlmsg_alloc(), &nlmsg_free);
    if (!request ||
        genlmsg_put(request.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, NLM_F_DUMP, NL80211_CMD_GET_STATION, 0) ==
            nullptr ||
        nla_put_u32(request.get(), NL80211_ATTR_IFINDEX, interface) != 0) {
        return -NLE_NOMEM;
    }
    stations.clear();
    int failed = nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, &AddRecord, &stations);
    if (failed == 0) {
        failed = nl_send_auto(socket, request.get());
    }
    return failed < 0 ? failed : nl_recvmsgs_default(socket);
}

}  // namespace

std::optional<Wifi::ShareStation> DecodeStation(nlmsghdr* message)
{
    std::array<nlattr*, NL80211_ATTR_MAX + 1> attributes{};
    if (genlmsg_parse(message, 0, attributes.data(), NL80211_ATTR_MAX, nullptr) != 0 ||
        attributes[NL80211_ATTR_MAC] == nullptr || nla_len(attributes[NL80211_ATTR_MAC]) != MAC_SIZE) {
        return std::nullopt;
    }
    static const auto counterSizes = CounterSizes();
    std::array<nlattr*, NL80211_STA_INFO_MAX + 1> info{};
    if (attributes[NL80211_ATTR_STA_INFO] != nullptr &&
        nla_parse_nested(info.data(), NL80211_STA_INFO_MAX, attributes[NL80211_ATTR_STA_INFO], counterSizes.data()) !=
            0) {
        info.fill(nullptr);
    }
    return Wifi::ShareStation{MacText(attributes[NL80211_ATTR_MAC]),
                              BytesOf(info.data(), NL80211_STA_INFO_RX_BYTES64, NL80211_STA_INFO_RX_BYTES),
                              BytesOf(info.data(), NL80211_STA_INFO_TX_BYTES64, NL80211_STA_INFO_TX_BYTES)};
}

Result<Stations> ListStations(const std::string& interface)
{
    const uint32_t index = ::if_nametoindex(interface.c_str());
    if (index == 0) {
        return Fail(ErrorCodeOf(errno), interface + ": " + std::generic_category().message(errno));
    }
    const Socket socket(nl_socket_alloc(), &nl_socket_free);
    if (!socket) {
        return ErrorOf("netlink", -NLE_NOMEM);
    }
    int failed = genl_connect(socket.get());
    if (failed != 0) {
        return ErrorOf("netlink", failed);
    }
    if (::setsockopt(nl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &ANSWER_LIMIT, sizeof(ANSWER_LIMIT)) !=
        0) {
        return Fail(ErrorCodeOf(errno), "netlink: " + std::generic_category().message(errno));
    }
    const int family = genl_ctrl_resolve(socket.get(), NL80211_GENL_NAME);
    if (family < 0) {
        return ErrorOf("nl80211", family);
    }
    Stations stations;
    failed = -NLE_DUMP_INTR;
    for (int dump = 0; dump < MAX_DUMPS && failed == -NLE_DUMP_INTR; ++dump) {
        failed = DumpStations(socket.get(), family, index, stations);
    }
    if (failed != 0) {
        return ErrorOf("stations of " + interface, failed);
    }
    return stations;
}

}  // namespace Vexo::Linux
