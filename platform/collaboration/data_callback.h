// DataCallback: what an ability hears of one collaboration's data. It is handed over with
// CollaborationAbility::RegisterCollaborationDataCallback (collaboration_ability.h) and kept, as a strong reference,
// until it is replaced or unregistered or the collaboration has ended. Called on the framework's threads, never on the
// one that registered it and never under a lock, so a callback may take its time and may call the framework.
#pragma once

#include "platform/ipc/iremote_object.h"

namespace Vexo::CollaborationFwk {

class ICollaborationFwkCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.CollaborationFwk.ICollaborationFwkCallback")

    // One message that the peer sent with SendCollaborationData: len bytes, at least one, valid during the call. In the
    // order of sending, one at a time.
    virtual void OnDataReceived(int sessionId, const char* data, unsigned int len) = 0;
    // The peer has registered a callback: what is sent from now on reaches it. Once a registration; it waits for no
    // OnDataReceived, and none waits for it.
    virtual void OnDataReceiverReady(int sessionId) = 0;
};

// Every entry does nothing; a callback overrides those it needs.
class CallbackSkeleton : public IRemoteStub<ICollaborationFwkCallback> {
public:
    void OnDataReceived(int, const char*, unsigned int) override {}
    void OnDataReceiverReady(int) override {}
};

class DataCallback : public CallbackSkeleton {};

}  // namespace Vexo::CollaborationFwk
