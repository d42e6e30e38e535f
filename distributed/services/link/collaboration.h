// Collaboration: runs the hotspot exchange over the collaboration framework's data channel
// (platform/collaboration/collaboration_ability.h) instead of a soft bus session. It starts and stops collaborations. A
// request first waits until the peer has registered its data callback (its receiver is ready). Then the request waits
// for the answer. The framework calls CollaborationCallback on its own threads. Received messages go to
// collaboration_listener.h. Any thread may call the class. Lock order: receiverMutex_, the locks of hotspotAnswer_,
// readyEntriesMutex_. Result codes: utils/distnet_errors.h and the codes of the framework.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "distributed/services/link/awaited_answer.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/collaboration/data_callback.h"

namespace Vexo::NetManagerStandard {

inline constexpr std::chrono::seconds RECEIVER_READY_WAIT{10};        // longest wait for the peer's receiver
inline constexpr std::chrono::seconds COLLABORATION_ANSWER_WAIT{10};  // longest wait for the answer after sending

class CollaborationCallback : public CollaborationFwk::DataCallback {
public:
    void OnDataReceived(int sessionId, const char* data, unsigned int len) override;
    void OnDataReceiverReady(int sessionId) override;
};

class Collaboration : public NoCopyable {
public:
    static Collaboration& GetInstance();

    // Registers a data callback on every running collaboration, so that this device receives requests of peers. Called
    // each time the framework announces its ability. A second registration is no error. Stops at the first
    // collaboration whose registration fails.
    void InitCollaboration();

    // Starts a collaboration with the peer. This also starts the peer's service. Returns the framework's code, and sets
    // sessionId only if the code is 0. Blocks until the framework's call returns.
    int32_t StartCollaboration(const std::string& deviceId, int& sessionId);
    // Unregisters the data callback and stops the collaboration. Does not block. Returns 0, or the framework's code if
    // one of these two steps fails.
    int32_t StopCollaboration(int sessionId);
    // ClaimAnswer must be called when an answer has arrived on the collaboration. Returns true if a request waits on
    // this collaboration and the answer is the first one. The caller must then act on the answer and pass the result to
    // StopCollaborationCondition. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Stops the collaboration and posts the result to the request that waits on this collaboration
    // (AwaitedAnswer::Post).
    void StopCollaborationCondition(int sessionId, int result);

    // The framework calls this function when the peer's receiver on the collaboration is ready. Blocks while a request
    // waits for its answer.
    void SetReceiverReady(int sessionId);
    bool GetReceiverReady(int sessionId);

    // Waits until the peer's receiver is ready, asks the peer to open its hotspot, and blocks until the result is
    // posted. Only one request runs at a time, so other callers wait. Returns the posted result; the framework's code
    // if the data callback cannot be registered; DISTNET_ERR_SEND; or DISTNET_ERR_HOTSPOT_TIMEOUT if the receiver or
    // the answer takes too long. Does not stop the collaboration on failure.
    int32_t SendStartHotspotMessage(int sessionId);

private:
    friend NeverDestroyed<Collaboration>;

    Collaboration();
    ~Collaboration();

    // Sends the start-hotspot request. Blocks until the result of this request is posted, for at most
    // COLLABORATION_ANSWER_WAIT.
    int32_t RequestHotspot(int sessionId) REQUIRES(receiverMutex_);

    AwaitedAnswer hotspotAnswer_;

    // This mutex is held during a whole request, except while the request waits for the peer's receiver.
    Mutex receiverMutex_;
    CondVar receiverCondition_;
    // This mutex guards only receiverReady_. StopCollaboration must not lock receiverMutex_, because the handler of an
    // answer calls StopCollaboration while the waiting request holds receiverMutex_. This mutex is not held during
    // calls to other classes.
    Mutex readyEntriesMutex_;
    std::map<int32_t, bool> receiverReady_ GUARDED_BY(readyEntriesMutex_);  // the key is the session id
};

}  // namespace Vexo::NetManagerStandard
