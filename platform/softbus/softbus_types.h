// The values and records of the soft bus that its callers share.
#pragma once

#include <cstdint>

inline constexpr int32_t LINK_TYPE_COUNT = 10;     // length of SessionAttribute::linkType
inline constexpr int32_t NETWORK_ID_BUF_LEN = 65;  // 64 hex characters and a NUL
inline constexpr int32_t DEVICE_NAME_BUF_LEN = 128;
inline constexpr uint32_t MAX_SESSION_BYTES = 4 * 1024 * 1024;  // one message

// Kinds of sessions.
enum SessionDataType : int32_t { TYPE_MESSAGE = 1, TYPE_BYTES = 2, TYPE_STREAM = 4 };

// How a peer is reached; tried in the order in which the opener names them. 1 and 2 are a wireless LAN (a TCP
// connection), 4 is Bluetooth.
enum LinkType : int32_t { LINK_TYPE_NONE = 0, LINK_TYPE_WIFI_5G = 1, LINK_TYPE_WIFI_2G = 2, LINK_TYPE_BR = 4 };

// What the soft bus functions return (0 is success), and what an opened callback's result carries when the open failed.
enum SoftBusResult : int32_t {
    SOFTBUS_OK = 0,
    SOFTBUS_UNAVAILABLE = -1,  // the soft bus is not running
    SOFTBUS_INVALID_PARAM = -2,
    SOFTBUS_NO_SUCH_PEER = -3,     // not in the list of online devices
    SOFTBUS_NO_LINK = -4,          // none of the link types leads to the peer
    SOFTBUS_PEER_REFUSED = -5,     // TLS failed, or the peer serves no such session
    SOFTBUS_NO_SUCH_SESSION = -6,  // closed, or never opened
    SOFTBUS_QUEUE_FULL = -7,       // the peer does not take what is sent
    SOFTBUS_TIMED_OUT = -8,
    SOFTBUS_NO_SUCH_SERVER = -9,
    SOFTBUS_LIMIT = -10,       // too many sessions or servers
    SOFTBUS_PEER_SHARE = -11,  // this device has opened as many sessions to the peer as one device may
};

struct SessionAttribute {
    int32_t dataType = 0;     // SessionDataType
    int32_t linkTypeNum = 0;  // how many of linkType count
    int32_t linkType[LINK_TYPE_COUNT] = {};
};

// The callbacks of a session server. Entries may be null. Called on the session's strand: in order for one session,
// never on the thread that called the soft bus.
struct ISessionListener {
    // result 0: the session is open; else a SoftBusResult and the id is no longer valid.
    int (*OnSessionOpened)(int sessionId, int result);
    // The other side closed, went away or fell silent. Exactly once; not after this side's CloseSession.
    void (*OnSessionClosed)(int sessionId);
    // data is valid during the call.
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
