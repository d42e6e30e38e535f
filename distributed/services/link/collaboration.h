// Collaboration: the hotspot exchange over the collaboration framework's data channel
// (platform/collaboration/collaboration_ability.h) instead of a soft bus session: it starts and stops collaborations,
// and lets a requester wait first for its peer's receiver and then for the answer. CollaborationCallback is what the
// framework calls, on its own threads; received messages go to collaboration_listener.h. Any thread. Locks, in order:
// receiverMutex_, those of hotspotAnswer_, readyEntriesMutex_. Results: utils/distnet_errors.h and the framework's
// own.
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

inline constexpr std::chrono::seconds RECEIVER_READY_WAIT{10};        // from registering to the peer's readiness
inline constexpr std::chrono::seconds COLLABORATION_ANSWER_WAIT{10};  // from the sent request to the posted result

class CollaborationCallback : public CollaborationFwk::DataCallback {
public:
    void OnDataReceived(int sessionId, const char* data, unsigned int len) override;
    void OnDataReceiverReady(int sessionId) override;
};

class Collaboration : public NoCopyable {
public:
    static Collaboration& GetInstance();

    // Receives on every collaboration that runs now, so that peers can ask this device. At each announcement of the
    // framework: receiving again is no error. Stops at the first one that cannot be received on.
    void InitCollaboration();

    // Wakes the service on the device. The framework's code; sessionId is set only on 0. Blocks as the framework does.
    int32_t StartCollaboration(const std::string& deviceId, int& sessionId);
    // Receives no longer and ends the collaboration. Does not block; the framework's code of the step that failed.
    int32_t StopCollaboration(int sessionId);
    // True when a received answer may be acted on: a request waits on that collaboration, and this is its first answer.
    // Its outcome is then posted. Blocks while a request is being sent.
    bool ClaimAnswer(int sessionId);
    // Stops the collaboration and posts the outcome of the request that waits on it.
    void StopCollaborationCondition(int sessionId, int result);

    // From the framework: the peer receives on that collaboration. Blocks while a request waits for its answer.
    void SetReceiverReady(int sessionId);
    bool GetReceiverReady(int sessionId);

    // Asks the peer to open its hotspot, once it receives, and blocks until the outcome is posted. One request at a
    // time: others wait their turn. Returns the posted result, the framework's code when this side cannot receive,
    // DISTNET_ERR_SEND, or DISTNET_ERR_HOTSPOT_TIMEOUT when the receiver or the answer takes too long. Never stops the
    // collaboration by itself.
    int32_t SendStartHotspotMessage(int sessionId);

private:
    friend NeverDestroyed<Collaboration>;

    Collaboration();
    ~Collaboration();

    // Sends the request and waits for what is posted.
    int32_t RequestHotspot(int sessionId) REQUIRES(receiverMutex_);

    AwaitedAnswer hotspotAnswer_;

    // Held for a whole request, except while it waits for the receiver.
    Mutex receiverMutex_;
    CondVar receiverCondition_;
    // Peers that receive. Stopping may not take receiverMutex_: the handler of the answer stops while the sender holds
    // it. So the entries have a lock of their own, never held over a call.
    Mutex readyEntriesMutex_;
    std::map<int32_t, bool> receiverReady_ GUARDED_BY(readyEntriesMutex_);
};

}  // namespace Vexo::NetManagerStandard
