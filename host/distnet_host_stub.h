// DistNetHostStub: the receiving side of IDistNetHost. It lets in whom the service lets in (the same interface-token,
// system-app and permission checks), reads the arguments and writes the answer. Called on IPC workers, several at once;
// keeps no state but which refusals it logged. What the operations answer: host/distnet_host.h; parcels: docs/ipc.md.
#pragma once

#include "interfaces/i_distnet_host.h"
#include "platform/dfx/log_limit.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

class DistNetHostStub : public IRemoteStub<IDistNetHost> {
public:
    // IPC_OK when the reply carries the operation's result; IPC_UNKNOWN_REQUEST for a refusal (its code is in the
    // reply) and for an unknown request code (the reply is empty).
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    void LogRefusal(const char* why);
    // Read the arguments of the operation, run it and write its answer, or HOST_BAD_REQUEST when they cannot be read.
    int32_t Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    int32_t RunStartTrace(MessageParcel& data, MessageParcel& reply);
    int32_t RunStopTrace(MessageParcel& data, MessageParcel& reply);
    int32_t RunWaitForWifi(MessageParcel& data, MessageParcel& reply);
    int32_t RunGetEvents(MessageParcel& data, MessageParcel& reply);

    QuviewDFX::LogLimit<uid_t> refusalLines_;
};

}  // namespace Vexo::Host
