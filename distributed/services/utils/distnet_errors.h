// This table lists all result codes of the service. They are int32 values, and 0 always means success.
#pragma once

#include <cstdint>

namespace Vexo::NetManagerStandard {

enum DistNetResult : int32_t {
    DISTNET_SUCCESS = 0,
    DISTNET_ERR_PERMISSION_DENIED = 201,  // the caller is no system application, or lacks a permission
    DISTNET_ERR_REPLY_REFUSAL = 301,      // the error code could not be written to the reply
    DISTNET_ERR_INVALID_FRAME = 401,      // a link message is too short or too long
    DISTNET_ERR_GENERAL = 2200003,        // such as "the service is not running"
    DISTNET_ERR_NO_DEVICE = 1004500001,   // the trusted device list is empty
    DISTNET_ERR_COLLABORATION_START = 1004500002,
    DISTNET_ERR_LINK = 1004500003,         // no session could be opened, or the hotspot request failed
    DISTNET_ERR_READ_DATA = 1004500103,    // a request's arguments could not be read
    DISTNET_ERR_WRITE_REPLY = 1004500105,  // a reply value could not be written
    DISTNET_ERR_DESCRIPTOR_MISMATCH = 1004500108,
    DISTNET_ERR_AWARENESS_ARGUMENT = 1004500111,
    DISTNET_ERR_NO_NET_INFO = 1004500112,
    DISTNET_ERR_CONFIGURATION_CENTER = 1004500113,
    DISTNET_ERR_MESSAGE_COPY = 1004500114,
    DISTNET_ERR_MESSAGE_JSON = 1004500115,
    DISTNET_ERR_HOTSPOT_TIMEOUT = 1004500116,  // no answer to the start-hotspot request in time
    DISTNET_ERR_RESPONSE_BUFFER = 1004500117,  // no memory for a response on the collaboration channel
    DISTNET_ERR_SESSION_SERVER = 1004500121,
    DISTNET_ERR_OPEN_SESSION = 1004500122,
    DISTNET_ERR_SEND = 1004500123,
    DISTNET_ERR_OPEN_SESSION_PARAM = 1004500124,
    DISTNET_ERR_OPEN_SESSION_COPY = 1004500125,
};

// Failures of the hotspot exchange. They are error codes in events, and some are results of the exchange.
enum HotspotFailure : int32_t {
    HOTSPOT_FAIL_COLLABORATION = -100,
    HOTSPOT_FAIL_OPEN_SESSION = -99,
    HOTSPOT_FAIL_REQUEST_OPEN = -98,  // not a result of any function; an event message exists for it
    HOTSPOT_FAIL_PEER = -97,          // the peer answered with a failure
    HOTSPOT_FAIL_REQUEST = -96,       // any other failure of the exchange; only in events
    HOTSPOT_FAIL_ADD_CONFIG = -94,
    HOTSPOT_FAIL_CONNECT = -93,
};

// Failures of capability items. They are error codes in events.
enum RemoteInfoFailure : int32_t {
    REMOTE_INFO_FAIL_SMART_HOTSPOT = -90,
    REMOTE_INFO_FAIL_BSSID = -89,
    REMOTE_INFO_FAIL_HOTSPOT_NAME = -88,
};

}  // namespace Vexo::NetManagerStandard
