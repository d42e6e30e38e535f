// NetworkRequests: handles the requests of ability 1164 about getting online through another device (23 to 29) and
// about sharing this device's network (30, 31): reads the arguments, runs the operation and writes the answer. No
// worker waits for an attempt or for its undoing. Called on IPC workers, several at once. Operations:
// host/online/online.h, host/sharing/sharing.h; parcels: docs/ipc.md.
#pragma once

#include <memory>

#include "host/online/online.h"
#include "host/sharing/sharing.h"
#include "interfaces/i_distnet_host.h"
#include "platform/base/nocopyable.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Host {

class NetworkRequests : public NoCopyable {
public:
    NetworkRequests(std::shared_ptr<Online> online, std::shared_ptr<Sharing> sharing)
        : online_(std::move(online)), sharing_(std::move(sharing))
    {
    }

    // Returns true if the code is one of these requests.
    static bool Handles(uint32_t code);
    // Runs a request for which Handles returns true. data is positioned after the interface token. The caller must have
    // been checked with CallerHasRights. Returns the status of the reply.
    int32_t Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);

private:
    int32_t RunBegin(MessageParcel& data, MessageParcel& reply);
    int32_t RunWait(MessageParcel& data, MessageParcel& reply);
    int32_t RunCancel(MessageParcel& data, MessageParcel& reply);
    int32_t RunSettings(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    int32_t RunDecision(MessageParcel& data, MessageParcel& reply);

    const std::shared_ptr<Online> online_;
    const std::shared_ptr<Sharing> sharing_;
};

}  // namespace Vexo::Host
