// Collaboration: runs the hotspot exchange over the collaboration framework's data channel
// (platform/collaboration/collaboration_ability.h) instead of a soft bus session. It starts and stops collaborations. A
// request waits first until the peer's receiver is ready, then for the answer. The framework calls
// CollaborationCallback on its own threads; received messages go to collaboration_listener.h. Any thread. Lock order:
// receiverMutex_, the locks of hotspotAnswer_, readyEntriesMutex_. Result codes: utils/distnet_errors.h and the
// framework's own.
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
    // each time the framework announces its ability; registering again is no error. Stops at the first collaboration
    // whose registration fails.
    void InitCollaboration();

    // Starts a collaboration with the device, which wakes its service. Returns the framework's code and sets sessionId
    // only if the code is 0. Blocks as long as the framework's call.
    int32_t StartCollaboration(const std::string& deviceId, int& sessionId);
    // Unregisters the data callback and stops the collaboration. Does not block. Returns 0, or the framework's code of
    // the step that failed.
    int32_t StopCollaboration(int sessionId);
    // Returns true if a request waits on that collaboration and this is its first answer: the caller must then act on
    // the answer and post its outcome with StopCollaborationCondition. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Stops the collaboration and posts result to the request that waits on it (AwaitedAnswer::Post).
    void StopCollaborationCondition(int sessionId, int result);

    // Called by the framework when the peer's receiver on that collaboration is ready. Blocks while a request waits for
    // its answer.
    void SetReceiverReady(int sessionId);
    bool GetReceiverReady(int sessionId);

    // Waits until the peer's receiver is ready, asks the peer to open its hotspot, and blocks until the outcome is
    // posted. One request at a time: other callers wait. Returns the posted result; the framework's code if the data
    // callback cannot be registered; DISTNET_ERR_SEND; or DISTNET_ERR_HOTSPOT_TIMEOUT if the receiver or the answer
    // takes too long. Does not stop the collaboration on failure.
    int32_t SendStartHotspotMessage(int sessionId);

private:
    friend NeverDestroyed<Collaboration>;

    Collaboration();
    ~Collaboration();

    // Sends the request and blocks until its result is posted or COLLABORATION_ANSWER_WAIT has passed.
    int32_t RequestHotspot(int sessionId) REQUIRES(receiverMutex_);

    AwaitedAnswer hotspotAnswer_;

    // Held during a whole request, except while the request waits for the peer's receiver.
    Mutex receiverMutex_;
    CondVar receiverCondition_;
    // A lock of its own for receiverReady_: StopCollaboration must not lock receiverMutex_, because the handler of an
    // answer calls StopCollaboration while the waiting request holds receiverMutex_. Not held while other code is
    // called.
    Mutex readyEntriesMutex_;
    std::map<int32_t, bool> receiverReady_ GUARDED_BY(readyEntriesMutex_);  // by collaboration session id
};

}  // namespace Vexo::NetManagerStandard
