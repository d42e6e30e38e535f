// SoftBusAdapter: the service's soft bus sessions (platform/softbus/session.h). It creates the session server, opens
// sessions and waits until they are open, and sends link messages (link_message.h). It also makes a request wait for
// the peer's answer. Any thread may call the class. The soft bus calls back on its own threads. Received bytes go to
// data_listener.h. Result codes: utils/distnet_errors.h.
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
inline constexpr std::chrono::seconds SESSION_OPEN_WAIT{10};         // longest wait until a session is open
inline constexpr std::chrono::seconds START_HOTSPOT_ANSWER_WAIT{3};  // longest wait for the answer after sending

// Waits for the result of opening one session. A soft bus thread delivers this result at most once.
class PendingSession {
public:
    // Blocks until the result is delivered, for at most SESSION_OPEN_WAIT. Returns true if the session was opened in
    // this time.
    bool GetPendingResult();
    // Delivers the result of opening the session and wakes the waiting thread. The result 0 means success.
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

    // Create or remove the session server with the name SESSION_NAME. Return 0 or DISTNET_ERR_SESSION_SERVER.
    int32_t CreateSoftBusSessionServer();
    int32_t RemoveSoftBusSessionServer();

    // Opens a session for bytes to a peer and blocks until the session is open, for at most SESSION_OPEN_WAIT. On
    // success, returns 0 and sets sessionId. On failure, returns a code whose name starts with
    // DISTNET_ERR_OPEN_SESSION. Then no session stays open and sessionId is not valid.
    int32_t OpenSoftBusSession(const std::string& deviceId, int& sessionId);
    int32_t OpenSoftBusSession(const std::string& networkId, std::string sessionName, const SessionAttribute* attr,
                               int& sessionId);
    // Closes the session. Does not block. Always returns 0.
    int32_t CloseSoftBusSession(int sessionId);

    // Blocks until SetPending delivers the result of opening the session, for at most SESSION_OPEN_WAIT. Returns true
    // if the session was opened. Returns false at once if another thread already waits for this session.
    bool StartPending(int sessionId);
    // Delivers the result of opening the session. If no thread waits for this session yet, the result is lost, and a
    // later StartPending times out.
    void SetPending(int sessionId, int result);
    // Removes the entry that StartPending has added for the session.
    void StopPending(int sessionId);

    // SendSoftBusBytes, SendSoftBusStr and SendHelloMessage queue bytes on a session and do not block. They return 0 or
    // DISTNET_ERR_SEND. SendSoftBusStr also sends the terminating NUL. If the soft bus refuses the bytes,
    // SendSoftBusStr returns the soft bus's code instead.
    int32_t SendSoftBusBytes(int sessionId, const void* data, int len);
    int32_t SendSoftBusStr(int sessionId, std::string& msg);
    int32_t SendHelloMessage(int sessionId);

    // Asks the peer to open its hotspot and blocks until the result is posted, for at most START_HOTSPOT_ANSWER_WAIT.
    // Only one request runs at a time, so other callers wait. Returns the posted result. If sending fails or the answer
    // takes too long, closes the session and returns DISTNET_ERR_SEND or DISTNET_ERR_HOTSPOT_TIMEOUT.
    int32_t SendStartHotspotMessage(int sessionId);
    // ClaimAnswer must be called when an answer has arrived on the session. Returns true if a request waits on this
    // session and the answer is the first one. The caller must then act on the answer and pass the result to
    // CloseSessionCondition. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Closes the session and posts the result to the request that waits on this session (AwaitedAnswer::Post).
    void CloseSessionCondition(int sessionId, int result);

    // Sets *info to an array of the online devices. The caller must free the array with FreeNodeInfo. Returns the code
    // of the soft bus.
    int32_t GetPhysicalDeviceInfo(const std::string& pkgName, NodeBasicInfo** info, int* infoNum);

private:
    // The callbacks of the session server. They do not change after construction.
    ISessionListener sessionListener_{};

    SharedMutex pendingMutex_;  // only locked exclusively, and not held during a wait
    std::map<int32_t, std::shared_ptr<PendingSession>> pendingSessions_ GUARDED_BY(pendingMutex_);

    AwaitedAnswer hotspotAnswer_;

    static NeverDestroyed<std::shared_ptr<SoftBusAdapter>> instance_;
    static Mutex instanceMutex_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
