// AccountRequests: handles the requests of ability 1164 about the account. It reads the arguments, checks the rights
// (account_rights.h), runs the operation and writes the answer. GET_MEMBERS needs only the rights that every request
// needs. No IPC worker waits for a person or for a change. Several IPC workers may call it at once.
// host/account_operations.h declares the operations, and docs/ipc.md describes the parcels.
#pragma once

#include <functional>
#include <memory>

#include "host/account_operations.h"
#include "host/account_rights.h"
#include "interfaces/i_distnet_host.h"
#include "platform/base/nocopyable.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Host {

class AccountRequests : public NoCopyable {
public:
    AccountRequests(std::shared_ptr<AccountOperations> operations, std::shared_ptr<AccountRights> rights)
        : operations_(std::move(operations)), rights_(std::move(rights))
    {
    }

    // Returns true if the code is a request about the account.
    static bool Handles(uint32_t code);
    // Runs a request for which Handles returns true. The parameter data must be positioned after the interface token.
    // Returns the status of the reply.
    int32_t Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);

private:
    int32_t RunInvitation(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    int32_t RunJoin(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    int32_t RunTransfer(MessageParcel& data, MessageParcel& reply);
    int32_t RunChange(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply);
    // If the caller may change the account, runs the operation and sends the operation's result as the answer. If not,
    // refuses the request.
    template <typename Value>
    int32_t RunIfPermitted(MessageParcel& reply, std::function<Value()> operation);

    const std::shared_ptr<AccountOperations> operations_;
    const std::shared_ptr<AccountRights> rights_;
};

}  // namespace Vexo::Host
