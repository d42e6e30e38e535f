// DataCallback: receives the data of one collaboration. CollaborationAbility::RegisterCollaborationDataCallback
// (collaboration_ability.h) keeps a strong reference to it until it is replaced or unregistered, or the collaboration
// has ended. Called on the framework's threads, never on the thread that registered it, and never with a lock held: a
// callback may block and may call the framework.
#pragma once

#include "platform/ipc/iremote_object.h"

namespace Vexo::CollaborationFwk {

class ICollaborationFwkCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.CollaborationFwk.ICollaborationFwkCallback")

    // Receives one message that the peer sent with SendCollaborationData: len bytes, at least one, valid only during
    // the call. Called for one message at a time, in the order of sending.
    virtual void OnDataReceived(int sessionId, const char* data, unsigned int len) = 0;
    // The peer has registered a callback, so data that is sent from now on reaches it. Called at most once for each
    // registration of this callback, possibly at the same time as OnDataReceived.
    virtual void OnDataReceiverReady(int sessionId) = 0;
};

// Every function does nothing; a callback overrides those that it needs.
class CallbackSkeleton : public IRemoteStub<ICollaborationFwkCallback> {
public:
    void OnDataReceived(int, const char*, unsigned int) override {}
    void OnDataReceiverReady(int) override {}
};

class DataCallback : public CallbackSkeleton {};

}  // namespace Vexo::CollaborationFwk
