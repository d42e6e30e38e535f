// The collaboration framework: wakes an ability on a peer and keeps it company while the two work together. Acts on the
// ability registered as 70635. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/base/refbase.h"
#include "platform/collaboration/data_callback.h"

namespace Vexo::CollaborationFwk {

// Results of the framework; 0 is success.
enum CollaborationResult : int32_t {
    COLLABORATION_OK = 0,
    COLLABORATION_UNAVAILABLE = 1,  // 70635 is not there
    COLLABORATION_NULL_TARGET = 2,
    COLLABORATION_NO_SUCH_PEER = 3,  // not a known device of this account, or not reached
    COLLABORATION_PEER_FAILED = 4,   // the peer could not start the ability
    COLLABORATION_TIMED_OUT = 5,
    COLLABORATION_NO_SUCH_SESSION = 6,
    COLLABORATION_TOO_LARGE = 7,         // action and parameters, or the data, do not fit one message
    COLLABORATION_INVALID_ARGUMENT = 8,  // a null callback, or no data
    COLLABORATION_NOT_SENT = 9,          // the peer does not take what is sent
};

// Whom to collaborate with, and through which ability there.
class TargetInfo : public RefBase {
public:
    // flags, action and parameters are handed to the peer's framework unread.
    TargetInfo(std::string networkId, uint32_t flags, std::string action, std::string parameters,
               int32_t systemAbilityId);

    const std::string& GetNetworkId() const { return networkId_; }
    uint32_t GetFlags() const { return flags_; }
    const std::string& GetAction() const { return action_; }
    const std::string& GetParameters() const { return parameters_; }
    int32_t GetSystemAbilityId() const { return systemAbilityId_; }

private:
    const std::string networkId_;
    const uint32_t flags_;
    const std::string action_;
    const std::string parameters_;
    const int32_t systemAbilityId_;
};

// One running collaboration, whichever side started it.
class StartInfo : public RefBase {
public:
    StartInfo(int32_t sessionId, std::string networkId);

    int32_t GetCollaborationSessionId() const { return sessionId_; }
    const std::string& GetNetworkId() const { return networkId_; }

private:
    const int32_t sessionId_;
    const std::string networkId_;
};

struct StartResult {
    int32_t code = COLLABORATION_OK;
    int32_t sessionId = 0;  // positive on success
};

// What stands behind CollaborationAbility: the object registered as 70635. Same contracts.
class ICollaborationService : public virtual RefBase {
public:
    virtual StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target) = 0;
    virtual int32_t StopCollaboration(int32_t sessionId) = 0;
    virtual int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos) = 0;
    virtual int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback) = 0;
    virtual int32_t UnRegisterCollaborationDataCallback(int32_t sessionId) = 0;
    virtual int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size) = 0;
};

class CollaborationAbility {
public:
    static CollaborationAbility& GetInstance();

    // Wakes the target's ability and answers within 5 s, or 10 s where a device may have to be sought over Bluetooth. A
    // second start to the same peer reuses the first one's session; it expires 30 s after its last use. A null target
    // is refused. Blocks; not from a callback of the framework.
    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target);
    // Ends it on both sides. Does not wait for the peer. What had arrived is still delivered to a registered callback.
    int32_t StopCollaboration(int32_t sessionId);
    // The collaborations of that ability that run now, both directions.
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos);

    // The data of a running collaboration, whichever side started it. None of them blocks.
    // Registers who receives it, and tells the peer that this side is ready. One callback a collaboration: registering
    // again is no error and replaces it. What came before the first callback has waited, in order: up to 64 messages
    // and 1 MiB (data_channel.h); more end the collaboration, as do more for a callback that is slow.
    int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback);
    // What waits is dropped. No error when there is no callback or the collaboration has ended.
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId);
    // Sends size bytes, 1 to 163,815, as one message; they are copied. It reaches the peer's callback once there is
    // one, which OnDataReceiverReady tells.
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size);

private:
    CollaborationAbility() = default;
};

}  // namespace Vexo::CollaborationFwk
