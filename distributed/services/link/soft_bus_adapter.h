// SoftBusAdapter: the service's soft bus sessions (platform/softbus/session.h). It creates the session server, opens
// sessions and waits until they are open, sends link messages (link_message.h), and makes a request wait for the peer's
// answer. Any thread; the soft bus calls back on its own threads. Received bytes go to data_listener.h. Result codes:
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
inline constexpr std::chrono::seconds SESSION_OPEN_WAIT{10};         // longest wait for the opened callback
inline constexpr std::chrono::seconds START_HOTSPOT_ANSWER_WAIT{3};  // longest wait for the answer after sending

// Waits for the result of opening one session. A soft bus thread delivers the result, at most once.
class PendingSession {
public:
    // Blocks until the result is delivered, for at most SESSION_OPEN_WAIT. Returns true if the session was opened in
    // time.
    bool GetPendingResult();
    // Delivers the result of the open (0: success) and wakes the waiting thread.
    void SetPendingResult(int result);

private:
    Mutex mutex_;
    CondVar condition_;
    bool isSucc GUARDED_BY(mutex_) = false;
    int32_t status GUARDED_BY(mutex_) = 0;  // 1 after the result was delivered
};

class SoftBusAdapter : public NoCopyable {
public:
    static std::shared_ptr<SoftBusAdapter> GetInstance();
    SoftBusAdapter();
    ~SoftBusAdapter();

    // Create and remove the server of SESSION_NAME. Return 0 or DISTNET_ERR_SESSION_SERVER.
    int32_t CreateSoftBusSessionServer();
    int32_t RemoveSoftBusSessionServer();

    // Opens a byte session to a peer and blocks until the session is open, for at most SESSION_OPEN_WAIT. Returns 0 and
    // sets sessionId. On failure (a DISTNET_ERR_OPEN_SESSION… code) no session stays open and sessionId is not valid.
    int32_t OpenSoftBusSession(const std::string& deviceId, int& sessionId);
    int32_t OpenSoftBusSession(const std::string& networkId, std::string sessionName, const SessionAttribute* attr,
                               int& sessionId);
    // Does not block. Always returns 0.
    int32_t CloseSoftBusSession(int sessionId);

    // Registers a wait for the opening of the session and blocks until its result (PendingSession::GetPendingResult).
    // Returns false at once if a wait for this id is already registered.
    bool StartPending(int sessionId);
    // Delivers the result of an open. If no wait is registered yet, the result is lost, and a StartPending that follows
    // times out.
    void SetPending(int sessionId, int result);
    // Removes the registration of StartPending.
    void StopPending(int sessionId);

    // Queue bytes on a session; they do not block. Return 0 or DISTNET_ERR_SEND. SendSoftBusStr also sends the
    // terminating NUL, and returns the soft bus's own code if the soft bus refuses the bytes.
    int32_t SendSoftBusBytes(int sessionId, const void* data, int len);
    int32_t SendSoftBusStr(int sessionId, std::string& msg);
    int32_t SendHelloMessage(int sessionId);

    // Asks the peer to open its hotspot and blocks until the outcome is posted, for at most START_HOTSPOT_ANSWER_WAIT.
    // One request at a time: other callers wait. Returns the posted result; or, with the session closed,
    // DISTNET_ERR_SEND or DISTNET_ERR_HOTSPOT_TIMEOUT.
    int32_t SendStartHotspotMessage(int sessionId);
    // Returns true if a request waits on that session and this is its first answer: the caller must then act on the
    // answer and post its outcome with CloseSessionCondition. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Closes the session and posts result to the request that waits on it (AwaitedAnswer::Post).
    void CloseSessionCondition(int sessionId, int result);

    // Sets *info to an array of the online devices, which the caller frees with FreeNodeInfo. Returns the soft bus's
    // own code.
    int32_t GetPhysicalDeviceInfo(const std::string& pkgName, NodeBasicInfo** info, int* infoNum);

private:
    // Callbacks of the session server; constant after construction.
    ISessionListener sessionListener_{};

    SharedMutex pendingMutex_;  // always locked exclusively; never held while waiting
    std::map<int32_t, std::shared_ptr<PendingSession>> pendingSessions_ GUARDED_BY(pendingMutex_);

    AwaitedAnswer hotspotAnswer_;

    static NeverDestroyed<std::shared_ptr<SoftBusAdapter>> instance_;
    static Mutex instanceMutex_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
