// NetworkRequests: handles the requests of ability 1164 about getting online through another device (23 to 29) and
// about sharing this device's network (30 and 31). It reads the arguments, runs the operation and writes the answer. No
// IPC worker is blocked while an attempt runs or is undone. Several IPC workers may call it at once.
// host/online/online.h and host/sharing/sharing.h declare the operations, and docs/ipc.md describes the parcels.
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

    // Returns true if the code is a request about getting online or sharing.
    static bool Handles(uint32_t code);
    // Runs a request for which Handles returns true. The parameter data must be positioned after the interface token.
    // The caller must have been checked with CallerHasRights. Returns the status of the reply.
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
