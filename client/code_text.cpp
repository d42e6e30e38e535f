#include <array>

#include "client/distnet_client.h"
#include "distributed/services/utils/distnet_errors.h"

namespace Vexo::Client {

namespace {

using namespace NetManagerStandard;

struct Row {
    int32_t code;
    CodeText text;
};

constexpr const char* REPORT = "This is a fault of the software; please report it with the daemon's log";
constexpr const char* PEER_LOG = "Read the daemon's log on both devices, then try again";

#define ROW(code, meaning, advice) \
    Row                            \
    {                              \
        code,                      \
        {                          \
#code, meaning, advice \
        }                          \
    }

constexpr std::array ROWS{
    ROW(DISTNET_SUCCESS, "done", ""),
    ROW(DISTNET_ERR_PERMISSION_DENIED, "this user may not use the service",
        "Ask as root, or join the group that the daemon's access policy names (netdev as shipped)"),
    ROW(DISTNET_ERR_REPLY_REFUSAL, "the error code could not be written to the reply", REPORT),
    ROW(DISTNET_ERR_INVALID_FRAME, "a link message has a size that its kind does not allow", PEER_LOG),
    ROW(DISTNET_ERR_GENERAL, "the service does not run, or the peer is not a device of this account",
        "`distnetctl devices` lists the devices of this account; enrol the peer if it is missing"),
    ROW(DISTNET_ERR_NO_DEVICE, "no other device of this account is known",
        "Enrol another device (`distnetctl account`), or switch one on that is enrolled, in reach of this one"),
    ROW(DISTNET_ERR_COLLABORATION_START, "the peer could not be woken",
        "See that the peer is switched on and in reach: `distnetctl devices`"),
    ROW(DISTNET_ERR_LINK, "the link to the peer, its hotspot or the joining failed",
        "The daemon's last event names the step; on the peer, see that Wi-Fi is switched on"),
    ROW(DISTNET_ERR_READ_DATA, "the request's arguments could not be read", REPORT),
    ROW(DISTNET_ERR_WRITE_REPLY, "a reply value could not be written", REPORT),
    ROW(DISTNET_ERR_DESCRIPTOR_MISMATCH, "the request is for another interface", REPORT),
    ROW(DISTNET_ERR_AWARENESS_ARGUMENT, "the awareness center refused a listener", REPORT),
    ROW(DISTNET_ERR_NO_NET_INFO, "no network information is known yet", "Try again in a moment"),
    ROW(DISTNET_ERR_CONFIGURATION_CENTER, "the device configuration could not be loaded",
        "See the configuration roots of the daemon"),
    ROW(DISTNET_ERR_MESSAGE_COPY, "the length in a link message is wrong", PEER_LOG),
    ROW(DISTNET_ERR_MESSAGE_JSON, "the peer's answer could not be read", PEER_LOG),
    ROW(DISTNET_ERR_HOTSPOT_TIMEOUT, "the peer did not answer in time", PEER_LOG),
    ROW(DISTNET_ERR_RESPONSE_BUFFER, "no memory for an answer", PEER_LOG),
    ROW(DISTNET_ERR_SESSION_SERVER, "the session server could not be created or removed", PEER_LOG),
    ROW(DISTNET_ERR_OPEN_SESSION, "no session to the peer could be opened", PEER_LOG),
    ROW(DISTNET_ERR_SEND, "sending to the peer failed", PEER_LOG),
    ROW(DISTNET_ERR_OPEN_SESSION_PARAM, "a session was asked for with invalid parameters", REPORT),
    ROW(DISTNET_ERR_OPEN_SESSION_COPY, "a session's parameters could not be copied", REPORT),
};

#undef ROW

constexpr CodeText UNKNOWN{"UNKNOWN", "unknown code", REPORT};

}  // namespace

CodeText DescribeCode(int32_t code)
{
    for (const Row& row : ROWS) {
        if (row.code == code) {
            return row.text;
        }
    }
    return UNKNOWN;
}

}  // namespace Vexo::Client
