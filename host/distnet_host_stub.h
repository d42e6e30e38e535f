// DistNetHostStub: the receiving side of IDistNetHost. It lets in whom the service lets in (the same interface-token,
// system-app and permission checks), reads the arguments and writes the answer. Called on IPC workers, several at once;
// keeps no state but which refusals it logged. What the operations answer: host/distnet_host.h; parcels: docs/ipc.md.
#pragma once

#include <functional>
#include <string>

#include "interfaces/i_distnet_host.h"
#include "platform/ipc/caller_log_limit.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

class DistNetHostStub : public IRemoteStub<IDistNetHost> {
public:
    // IPC_OK when the reply carries the operation's result; IPC_UNKNOWN_REQUEST for a refusal (its code is in the
    // reply) and for an unknown request code (the reply is empty).
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    void LogRefusal(const char* why);
    int32_t Run(HostInterfaceCode code, MessageParcel& data, std::string& json);
    // A wait whose reply comes later, so that it holds no worker; a call from inside the process blocks instead.
    int32_t RunWait(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    // With the arguments of their names; HOST_BAD_REQUEST, or nothing to run, when they cannot be read.
    std::function<void(Answer)> ReadWaitForWifi(MessageParcel& data);
    std::function<void(Answer)> ReadGetEvents(MessageParcel& data);
    int32_t RunStartTrace(MessageParcel& data, std::string& json);
    int32_t RunStopTrace(MessageParcel& data, std::string& json);

    Ipc::CallerLogLimit refusalLines_;
};

}  // namespace Vexo::Host
