// DistNetHostStub: handles incoming requests of IDistNetHost. It makes the same checks as the service (interface token,
// system-app flag, permission), reads the arguments, runs the operation and writes the answer. Several IPC workers may
// call it at once. Its only state is the rate limit of log lines about refusals. host/distnet_host.h declares the
// operations, and docs/ipc.md describes the parcels.
#pragma once

#include <memory>

#include "host/account_requests.h"
#include "host/network_requests.h"
#include "interfaces/i_distnet_host.h"
#include "platform/dfx/log_limit.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

class DistNetHostStub : public IRemoteStub<IDistNetHost> {
public:
    // account: runs the requests about the account. network: runs the requests about getting online and sharing. If a
    // parameter is null, its requests are answered as unknown requests.
    DistNetHostStub(std::unique_ptr<AccountRequests> account, std::unique_ptr<NetworkRequests> network)
        : account_(std::move(account)), network_(std::move(network))
    {
    }

    // Returns IPC_OK if the reply contains the operation's result. Returns IPC_UNKNOWN_REQUEST for a refusal and for an
    // unknown request code. The reply to a refusal contains the code of the refusal; the reply to an unknown code is
    // empty.
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    void LogRefusal(const char* why);
    // Each of the following functions reads the arguments of an operation, runs the operation and writes its answer. If
    // the arguments cannot be read, the answer is HOST_BAD_REQUEST.
    int32_t Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    int32_t RunStartTrace(MessageParcel& data, MessageParcel& reply);
    int32_t RunStopTrace(MessageParcel& data, MessageParcel& reply);
    int32_t RunWaitForWifi(MessageParcel& data, MessageParcel& reply);
    int32_t RunGetEvents(MessageParcel& data, MessageParcel& reply);

    const std::unique_ptr<AccountRequests> account_;
    const std::unique_ptr<NetworkRequests> network_;
    QuviewDFX::LogLimit<uid_t> refusalLines_;
};

}  // namespace Vexo::Host
