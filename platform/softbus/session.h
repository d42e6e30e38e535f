// The soft bus: sessions between devices of one account, as plain functions. A session is one mutually authenticated
// TLS 1.3 connection between two session servers, one on each device. May be called on any thread, also inside
// callbacks. The functions copy their arguments, including the listener. They call the ability (an in-process service)
// that is registered as 4700. If none is registered, they return SOFTBUS_UNAVAILABLE. Types and callbacks:
// platform/softbus/softbus_types.h.
#pragma once

#include "platform/softbus/softbus_types.h"

// Accepts and opens sessions under the name sessionName from now on. If this package already uses that name, replaces
// the listener and returns 0. Does not block.
int CreateSessionServer(const char* pkgName, const char* sessionName, const ISessionListener* listener);
// Stops using the name sessionName, and closes its sessions as CloseSession does.
int RemoveSessionServer(const char* pkgName, const char* sessionName);

// Starts to open a session and returns at once:
// - a positive session id: OnSessionOpened is then called exactly once, at least 1 ms after OpenSession returns and
//   within 10 s of the time when the open starts. While the calling thread does not sleep, for example because the
//   machine is busy, OnSessionOpened comes up to 500 ms later, so that the caller can store the id first;
// - a negative SoftBusResult: no callback follows.
// The open starts now if a session server with the name mySessionName exists. Otherwise the open starts when
// CreateSessionServer creates that session server. If the session server is not created within 10 s, the open is
// dropped without a callback. groupId is not used and may be empty.
int OpenSession(const char* mySessionName, const char* peerSessionName, const char* peerNetworkId, const char* groupId,
                const SessionAttribute* attr);
// Closes the session and returns at once. Bytes that SendBytes accepted earlier are delivered first (within 1 s). The
// other side gets one OnSessionClosed callback. This side gets none.
void CloseSession(int sessionId);
// Queues len bytes (1 to MAX_SESSION_BYTES) as one message. Does not block. Returns SOFTBUS_QUEUE_FULL if too many
// bytes wait to be sent. This message is then not queued, and earlier messages are not affected.
int SendBytes(int sessionId, const void* data, unsigned int len);

// Sets *info to one array of all online devices, and *infoNum to the number of its elements. The caller releases the
// array with FreeNodeInfo. *info is null if no device is online.
int GetAllNodeDeviceInfo(const char* pkgName, NodeBasicInfo** info, int* infoNum);
void FreeNodeInfo(NodeBasicInfo* info);

// Copies the network id of the peer of an open session into networkId, a buffer of at least NETWORK_ID_BUF_LEN bytes.
int GetPeerDeviceId(int sessionId, char* networkId, unsigned int len);
