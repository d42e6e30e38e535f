#include "backends/linux/stations.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <system_error>

namespace Vexo::Linux {
namespace {

constexpr timeval ANSWER_LIMIT{.tv_sec = 1, .tv_usec = 0};
// A dump that a joining or leaving station interrupts is inconsistent; the next one is not likely to be.
constexpr int MAX_DUMPS = 3;

using Socket = std::unique_ptr<nl_sock, decltype(&nl_socket_free)>;
using Message = std::unique_ptr<nl_msg, decltype(&nlmsg_free)>;

// code: libnl's own, negative.
Failure ErrorOf(const std::string& step, int code)
{
    return Fail(ErrorCode::SYSTEM, step + ": " + nl_geterror(code));
}

int CountRecord(nl_msg* /*station*/, void* count)
{
    ++*static_cast<size_t*>(count);
    return NL_OK;
}

// 0, or libnl's negative code.
int DumpStations(nl_sock* socket, int family, uint32_t interface, size_t& count)
{
    const Message request(nlmsg_alloc(), &nlmsg_free);
    if (!request ||
        genlmsg_put(request.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, NLM_F_DUMP, NL80211_CMD_GET_STATION, 0) ==
            nullptr ||
        nla_put_u32(request.get(), NL80211_ATTR_IFINDEX, interface) != 0) {
        return -NLE_NOMEM;
    }
    count = 0;
    int failed = nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, &CountRecord, &count);
    if (failed == 0) {
        failed = nl_send_auto(socket, request.get());
    }
    return failed < 0 ? failed : nl_recvmsgs_default(socket);
}

}  // namespace

Result<size_t> CountStations(const std::string& interface)
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
    size_t count = 0;
    failed = -NLE_DUMP_INTR;
    for (int dump = 0; dump < MAX_DUMPS && failed == -NLE_DUMP_INTR; ++dump) {
        failed = DumpStations(socket.get(), family, index, count);
    }
    if (failed != 0) {
        return ErrorOf("stations of " + interface, failed);
    }
    return count;
}

}  // namespace Vexo::Linux
