#include "platform/ipc/iremote_object.h"

#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/later_reply.h"

namespace Vexo {

int IPCObjectStub::SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    const CallerScope caller(IPCSkeleton::SelfIdentity());
    const Ipc::RequestScope noLaterReply;
    return OnRemoteRequest(code, data, reply, option);
}

int IPCObjectStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return IPC_UNKNOWN_REQUEST;
}

}  // namespace Vexo
