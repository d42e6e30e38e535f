// The soft bus: sessions between devices of one account, as plain functions. A session is one mutually authenticated
// TLS 1.3 connection between two session servers, one on each device. Any thread, also inside callbacks. Arguments,
// including the listener, are copied. The functions use the ability that is registered as 4700; without it they return
// SOFTBUS_UNAVAILABLE. Types and callbacks: platform/softbus/softbus_types.h.
#pragma once

#include "platform/softbus/softbus_types.h"

// Serves sessions under the name sessionName from now on. If this package already serves that name, replaces the
// listener and returns 0. Does not block.
int CreateSessionServer(const char* pkgName, const char* sessionName, const ISessionListener* listener);
// Stops serving that name, and closes its sessions as CloseSession does.
int RemoveSessionServer(const char* pkgName, const char* sessionName);

// Starts to open a session and returns at once:
// - a positive session id: exactly one opened callback follows, at least 1 ms after the return and within 10 s of the
//   start of the open;
// - a negative SoftBusResult: no callback follows.
// If mySessionName is not served yet, the open starts when it is. After 10 s the open is dropped, without a callback.
// groupId is not used and may be empty.
int OpenSession(const char* mySessionName, const char* peerSessionName, const char* peerNetworkId, const char* groupId,
                const SessionAttribute* attr);
// Closes the session and returns at once. Bytes that SendBytes accepted before are delivered first (within 1 s). The
// other side gets one closed callback, this side gets none.
void CloseSession(int sessionId);
// Queues len bytes (1 to MAX_SESSION_BYTES) as one message. Does not block. Returns SOFTBUS_QUEUE_FULL if too many
// bytes wait to be sent: this message is not queued, and earlier ones are not affected.
int SendBytes(int sessionId, const void* data, unsigned int len);

// Returns the online devices in one array of *infoNum elements, which the caller releases with FreeNodeInfo. *info is
// null if no device is online.
int GetAllNodeDeviceInfo(const char* pkgName, NodeBasicInfo** info, int* infoNum);
void FreeNodeInfo(NodeBasicInfo* info);

// Copies the network id of the peer of an open session into networkId, a buffer of at least NETWORK_ID_BUF_LEN bytes.
int GetPeerDeviceId(int sessionId, char* networkId, unsigned int len);
