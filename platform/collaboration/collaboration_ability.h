// The collaboration framework. It starts an ability (a service) on another device, the peer. It also lets the two
// devices exchange data. This connection of two devices is called a collaboration. The functions call the framework's
// own ability, which is registered as 70635. Thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/base/refbase.h"
#include "platform/collaboration/data_callback.h"

namespace Vexo::CollaborationFwk {

// The results of the framework's functions. 0 is success.
enum CollaborationResult : int32_t {
    COLLABORATION_OK = 0,
    COLLABORATION_UNAVAILABLE = 1,  // ability 70635 is not registered, or it is stopped
    COLLABORATION_NULL_TARGET = 2,
    COLLABORATION_NO_SUCH_PEER = 3,  // the peer is not a known device of this account, or was not reached
    COLLABORATION_PEER_FAILED = 4,   // the peer could not start the ability
    COLLABORATION_TIMED_OUT = 5,
    COLLABORATION_NO_SUCH_SESSION = 6,
    COLLABORATION_TOO_LARGE = 7,         // action and parameters, or the data, do not fit into one message
    COLLABORATION_INVALID_ARGUMENT = 8,  // a null callback, or no data
    COLLABORATION_NOT_SENT = 9,          // too many bytes wait to be sent to the peer
};

// The peer to collaborate with, and the ability to start on the peer.
class TargetInfo : public RefBase {
public:
    // flags, action and parameters are sent to the peer's framework unchanged.
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

// One running collaboration. This device or the peer has started it.
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

// The interface of ability 70635, which CollaborationAbility calls. Each function has the contract of the function with
// the same name in CollaborationAbility.
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

    // Starts an ability on the peer. target: the peer and that ability. systemAbilityId: the ability of this device
    // that uses the collaboration. Blocks for at most 5 s, or 10 s if the peer may have to be found over Bluetooth
    // first. Returns COLLABORATION_NULL_TARGET if target is null. A second start on the same peer uses the session of
    // the first start. A session is closed 30 s after its last use. Must not be called from a callback of the soft bus,
    // because such a callback delivers the peer's answer.
    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target);
    // Ends the collaboration on both sides. Does not wait for the peer. Data that has already arrived is still
    // delivered to a registered callback.
    int32_t StopCollaboration(int32_t sessionId);
    // Lists the running collaborations of that ability, both those that this device has started and those that a peer
    // has started.
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos);

    // Registers the callback that receives the data of a running collaboration, and tells the peer that this side is
    // ready. Does not block. A collaboration has one callback, so a new callback replaces an earlier one. Data that
    // arrived before the first callback is delivered to that callback in order. At most 64 messages and 1 MiB
    // (data_channel.h) may wait for the first callback or for a slow callback. If more data arrives, the collaboration
    // ends.
    int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback);
    // Removes the callback, and drops data that waits for the callback. Does not block. Returns COLLABORATION_OK even
    // if there is no callback or the collaboration has ended.
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId);
    // Sends a copy of the data as one message. size: 1 to 163,815 bytes. Does not block. The peer delivers the message
    // when a callback is registered on the peer. OnDataReceiverReady (data_callback.h) reports this registration.
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size);

private:
    CollaborationAbility() = default;
};

}  // namespace Vexo::CollaborationFwk
