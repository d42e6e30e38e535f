// DataCallback: receives the data of one collaboration. CollaborationAbility::RegisterCollaborationDataCallback
// (collaboration_ability.h) stores a strong reference to the callback. The reference is released when the callback is
// replaced or unregistered, or when the collaboration has ended. The functions are called on threads of the framework,
// never on the thread that registered the callback, and with no lock held. So the functions may block, and may call the
// framework.
#pragma once

#include "platform/ipc/iremote_object.h"

namespace Vexo::CollaborationFwk {

class ICollaborationFwkCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.CollaborationFwk.ICollaborationFwkCallback")

    // Receives one message that the peer sent with SendCollaborationData. len: at least 1. data: valid only during the
    // call. Called for one message at a time, in the order in which the peer sent them.
    virtual void OnDataReceived(int sessionId, const char* data, unsigned int len) = 0;
    // Called when the peer has registered a callback, so that data sent from now on reaches that callback. Called at
    // most once for each registration of this callback. Not called if this callback has replaced a callback that was
    // called already. OnDataReceiverReady may run at the same time as OnDataReceived.
    virtual void OnDataReceiverReady(int sessionId) = 0;
};

// A callback whose functions do nothing. A derived class overrides only the functions that it needs.
class CallbackSkeleton : public IRemoteStub<ICollaborationFwkCallback> {
public:
    void OnDataReceived(int, const char*, unsigned int) override {}
    void OnDataReceiverReady(int) override {}
};

class DataCallback : public CallbackSkeleton {};

}  // namespace Vexo::CollaborationFwk
