// SoftBusAdapter: the service's only user of soft bus sessions (platform/softbus/session.h). It serves the session
// name, opens a session and waits for it, sends link messages (link_message.h), and lets a requester wait for its
// peer's answer. Any thread; the soft bus calls back on its own threads. Received bytes go to data_listener.h. Results:
// utils/distnet_errors.h.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "distributed/services/link/awaited_answer.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/softbus_types.h"

namespace Vexo::NetManagerStandard {

inline constexpr const char* PKG_NAME = "vexo.communication.network_connectivity_ext";
inline constexpr const char* SESSION_NAME = "vexo.communication.network_connectivity_ext.distributed";
inline constexpr size_t MSG_MAX_SIZE = 46080;                        // the longest string that SendSoftBusStr sends
inline constexpr std::chrono::seconds SESSION_OPEN_WAIT{10};         // from OpenSession to its opened callback
inline constexpr std::chrono::seconds START_HOTSPOT_ANSWER_WAIT{3};  // from the sent request to the posted result

// The awaited result of one open. Delivered at most once, from a soft bus thread.
class PendingSession {
public:
    // Blocks for at most SESSION_OPEN_WAIT. True when the session was opened in time.
    bool GetPendingResult();
    // Delivers the result of the open (0: it succeeded) and wakes the waiter.
    void SetPendingResult(int result);

private:
    Mutex mutex_;
    CondVar condition_;
    bool isSucc GUARDED_BY(mutex_) = false;
    int32_t status GUARDED_BY(mutex_) = 0;  // 1 once a result is there
};

class SoftBusAdapter : public NoCopyable {
public:
    static std::shared_ptr<SoftBusAdapter> GetInstance();
    SoftBusAdapter();
    ~SoftBusAdapter();

    // Serve, or stop serving, SESSION_NAME. 0 or DISTNET_ERR_SESSION_SERVER.
    int32_t CreateSoftBusSessionServer();
    int32_t RemoveSoftBusSessionServer();

    // Opens a byte session to a peer and blocks until it is open, for at most SESSION_OPEN_WAIT; sessionId is then its
    // id. On a failure (DISTNET_ERR_OPEN_SESSION…) no session is left open and sessionId means nothing.
    int32_t OpenSoftBusSession(const std::string& deviceId, int& sessionId);
    int32_t OpenSoftBusSession(const std::string& networkId, std::string sessionName, const SessionAttribute* attr,
                               int& sessionId);
    // Does not block; always 0.
    int32_t CloseSoftBusSession(int sessionId);

    // Registers that the open of a session is awaited and blocks for its result. False at once for an id that is
    // awaited already.
    bool StartPending(int sessionId);
    // Delivers the result of an open. Without a waiter it is lost: an opener that registers later runs into its
    // time-out.
    void SetPending(int sessionId, int result);
    void StopPending(int sessionId);

    // Queue bytes on a session; none of them blocks. 0 or DISTNET_ERR_SEND; SendSoftBusStr returns the soft bus's own
    // result once it sends. The string travels with its terminating NUL.
    int32_t SendSoftBusBytes(int sessionId, const void* data, int len);
    int32_t SendSoftBusStr(int sessionId, std::string& msg);
    int32_t SendHelloMessage(int sessionId);

    // Asks the peer to open its hotspot and blocks until the outcome is posted, for at most START_HOTSPOT_ANSWER_WAIT.
    // One request at a time: others wait their turn. Returns the posted result; DISTNET_ERR_SEND or
    // DISTNET_ERR_HOTSPOT_TIMEOUT after closing the session.
    int32_t SendStartHotspotMessage(int sessionId);
    // True when a received answer may be acted on: a request waits on that session, and this is its first answer. Its
    // outcome is then posted. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Closes the session and posts the outcome of the request that waits on it: 0, or what failed.
    void CloseSessionCondition(int sessionId, int result);

    // The online devices as one block that the caller releases with FreeNodeInfo; the soft bus's own result.
    int32_t GetPhysicalDeviceInfo(const std::string& pkgName, NodeBasicInfo** info, int* infoNum);

private:
    // The table that the session server calls; constant after construction.
    ISessionListener sessionListener_{};

    SharedMutex pendingMutex_;  // always taken exclusively; never held while waiting
    std::map<int32_t, std::shared_ptr<PendingSession>> pendingSessions_ GUARDED_BY(pendingMutex_);

    AwaitedAnswer hotspotAnswer_;

    static NeverDestroyed<std::shared_ptr<SoftBusAdapter>> instance_;
    static Mutex instanceMutex_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
