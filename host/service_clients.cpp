#include "host/service_clients.h"

#include "distributed/services/service/i_distnet_service.h"
#include "platform/ability/ability_ids.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/ipc_types.h"

namespace Vexo::Host {
namespace {

constexpr uint32_t RELEASE = static_cast<uint32_t>(NetManagerStandard::DistNetInterfaceCode::RELEASE_SERVICE);

}  // namespace

int32_t ServiceClients::Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    const pid_t caller = IPCSkeleton::GetCallingPid();
    // Forgotten before its release runs and remembered after any other request has run: whatever the order of two
    // connections of one process, a process that the service counts is known here.
    if (request.code == RELEASE) {
        const MutexLock lock(mutex_);
        users_.erase(caller);
    }
    const int32_t status = abilities_->Dispatch(request, data, reply);
    if (request.code != RELEASE && status == IPC_OK) {
        const MutexLock lock(mutex_);
        users_.insert(caller);
    }
    return status;
}

void ServiceClients::ReleaseForGoneProcess()
{
    {
        const MutexLock lock(mutex_);
        if (users_.erase(IPCSkeleton::GetCallingPid()) == 0) {
            return;
        }
    }
    if (!abilities_->GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID)) {
        return;
    }
    MessageParcel data;
    MessageParcel reply;
    data.WriteInterfaceToken(NetManagerStandard::IDistNetService::GetDescriptor());
    (void)abilities_->Dispatch(Ipc::IpcHeader{0, COMM_DISTRIBUTED_NET_ABILITY_ID, RELEASE}, data, reply);
}

}  // namespace Vexo::Host
