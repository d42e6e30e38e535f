// The soft bus: sessions between devices of one account, as plain functions. A session is one mutually authenticated
// TLS 1.3 connection between two session servers of the same name. Any thread, callbacks included; only
// CreateSessionServer's listener is kept (it must stay valid until RemoveSessionServer). They act on the ability
// registered as 4700 and return SOFTBUS_UNAVAILABLE without it. Values and callbacks: platform/softbus/softbus_types.h.
#pragma once

#include "platform/softbus/softbus_types.h"

// Serves sessions of that name. 0 also when this package serves it already (the listener is replaced).
int CreateSessionServer(const char* pkgName, const char* sessionName, const ISessionListener* listener);
// Ends serving; open sessions are closed as by CloseSession.
int RemoveSessionServer(const char* pkgName, const char* sessionName);

// Starts opening and returns at once: a positive session id, for which exactly one opened callback follows, at least 1
// ms later and well inside 10 s; or a negative SoftBusResult, and none follows. When mySessionName is not served yet,
// the open starts as soon as it is. groupId is not used and may be empty.
int OpenSession(const char* mySessionName, const char* peerSessionName, const char* peerNetworkId, const char* groupId,
                const SessionAttribute* attr);
// Returns at once; bytes accepted before are delivered first (within 1 s). The other side gets one closed callback,
// this one none.
void CloseSession(int sessionId);
// Queues len bytes (1 to MAX_SESSION_BYTES) as one message. Does not block; SOFTBUS_QUEUE_FULL loses nothing that was
// accepted.
int SendBytes(int sessionId, const void* data, unsigned int len);

// The online devices, as one block that the caller releases with FreeNodeInfo; *info is null when there are none.
int GetAllNodeDeviceInfo(const char* pkgName, NodeBasicInfo** info, int* infoNum);
void FreeNodeInfo(NodeBasicInfo* info);

// For an authenticated session: the peer's network id into a buffer of at least NETWORK_ID_BUF_LEN bytes.
int GetPeerDeviceId(int sessionId, char* networkId, unsigned int len);
