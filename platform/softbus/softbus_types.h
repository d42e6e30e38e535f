// The types and result codes of the soft bus functions (session.h).
#pragma once

#include <cstdint>

inline constexpr int32_t LINK_TYPE_COUNT = 10;     // length of SessionAttribute::linkType
inline constexpr int32_t NETWORK_ID_BUF_LEN = 65;  // 64 hex characters and a NUL
inline constexpr int32_t DEVICE_NAME_BUF_LEN = 128;
inline constexpr uint32_t MAX_SESSION_BYTES = 4 * 1024 * 1024;  // for one message

// The data type of a session. It selects the callback that gets received messages.
enum SessionDataType : int32_t { TYPE_MESSAGE = 1, TYPE_BYTES = 2, TYPE_STREAM = 4 };

// How to connect to a peer. The caller of OpenSession lists link types in order of preference. 1 and 2 mean a wireless
// LAN (a TCP connection), 4 means Bluetooth.
enum LinkType : int32_t { LINK_TYPE_NONE = 0, LINK_TYPE_WIFI_5G = 1, LINK_TYPE_WIFI_2G = 2, LINK_TYPE_BR = 4 };

// The results of the soft bus functions, and of the callback OnSessionOpened.
enum SoftBusResult : int32_t {
    SOFTBUS_OK = 0,
    SOFTBUS_UNAVAILABLE = -1,  // the soft bus is not running
    SOFTBUS_INVALID_PARAM = -2,
    SOFTBUS_NO_SUCH_PEER = -3,     // the network id is not of a known device of this account
    SOFTBUS_NO_LINK = -4,          // the peer was not reached over any of the requested link types
    SOFTBUS_PEER_REFUSED = -5,     // TLS failed, or the peer refused the session
    SOFTBUS_NO_SUCH_SESSION = -6,  // the session is closed, or never existed
    SOFTBUS_QUEUE_FULL = -7,       // too many bytes wait to be sent
    SOFTBUS_TIMED_OUT = -8,
    SOFTBUS_NO_SUCH_SERVER = -9,
    SOFTBUS_LIMIT = -10,       // too many sessions or servers
    SOFTBUS_PEER_SHARE = -11,  // this device has opened as many sessions to the peer as the peer allows
};

struct SessionAttribute {
    int32_t dataType = 0;     // SessionDataType
    int32_t linkTypeNum = 0;  // how many elements of linkType are set
    int32_t linkType[LINK_TYPE_COUNT] = {};
};

// The callbacks of a session server. Entries may be null. The callbacks of one session run one at a time, in order.
// They never run on the thread that called the soft bus.
struct ISessionListener {
    // result: 0 if the session is open. Otherwise result is a SoftBusResult, and sessionId is no longer valid.
    int (*OnSessionOpened)(int sessionId, int result);
    // Called exactly once when the other side has closed the session or the connection was lost. Not called after this
    // side has called CloseSession.
    void (*OnSessionClosed)(int sessionId);
    // Called for each received message. Each session uses one of the next three callbacks, selected by
    // SessionAttribute::dataType. data is valid only during the call.
    void (*OnBytesReceived)(int sessionId, const void* data, unsigned int dataLen);
    void (*OnMessageReceived)(int sessionId, const void* data, unsigned int dataLen);
    void (*OnStreamReceived)(int sessionId, const void* data, unsigned int dataLen);
    void (*OnQosEvent)(int sessionId, int eventId);
};

// A device of this account that is online now.
struct NodeBasicInfo {
    char networkId[NETWORK_ID_BUF_LEN];
    char deviceName[DEVICE_NAME_BUF_LEN];
    uint16_t deviceTypeId;
};
