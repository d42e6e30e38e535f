#include "host/service_clients.h"

#include <string>

#include "distributed/services/service/i_distnet_service.h"
#include "host/caller_rights.h"
#include "platform/ability/ability_ids.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/ipc_types.h"

namespace Vexo::Host {
namespace {

using NetManagerStandard::DistNetInterfaceCode;
using NetManagerStandard::IDistNetService;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};
constexpr auto RELEASE = static_cast<uint32_t>(DistNetInterfaceCode::RELEASE_SERVICE);

bool IsKnown(uint32_t code)
{
    switch (static_cast<DistNetInterfaceCode>(code)) {
        case DistNetInterfaceCode::START_SERVICE:
        case DistNetInterfaceCode::RELEASE_SERVICE:
        case DistNetInterfaceCode::START_DISTRIBUTED_NETWORK:
        case DistNetInterfaceCode::STOP_DISTRIBUTED_NETWORK:
        case DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST:
        case DistNetInterfaceCode::GET_REMOTE_DEVICE_INFO:
            return true;
    }
    return false;
}

// Returns true if the service counted the caller of a request that returned this status. The service counts the caller
// before it runs the request, even if the request then fails. The service does not count the caller of a refused
// request or of an unknown request code. It counts nobody for a request that did not reach it.
bool WasCounted(int32_t status)
{
    constexpr int32_t REFUSAL_NOT_WRITTEN = 301;
    return status != IPC_UNKNOWN_REQUEST && status != REFUSAL_NOT_WRITTEN && status != IPC_UNKNOWN_ABILITY &&
           status != IPC_ABILITY_UNAVAILABLE;
}

}  // namespace

int32_t ServiceClients::Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    const std::optional<Refusal> refusal = WhyRefused(request.code, data);
    return refusal ? Refuse(*refusal, request, data, reply) : Run(request, data, reply);
}

// Makes the same checks as the service, in the same order. Returns why the service would refuse the request, if it
// would.
std::optional<ServiceClients::Refusal> ServiceClients::WhyRefused(uint32_t code, MessageParcel& data)
{
    const bool isForService = data.ReadInterfaceToken() == IDistNetService::GetDescriptor();
    data.Rewind();
    if (!isForService) {
        return Refusal::OTHER_INTERFACE;
    }
    if (!IsKnown(code)) {
        return Refusal::UNKNOWN_CODE;
    }
    return CallerHasRights() ? std::nullopt : std::optional(Refusal::NO_RIGHTS);
}

int32_t ServiceClients::Refuse(Refusal why, const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    const uid_t user = IPCSkeleton::GetCallingUid();
    const std::optional<std::string> leftOut = refusalLines_.Admit(user);
    if (leftOut && !leftOut->empty()) {
        QuviewDFX::LogWarn(LABEL, "requests of user %{public}u are refused%{public}s", user, *leftOut);
    }
    if (!leftOut) {
        const MutexLock lock(mutex_);
        if (const auto& answer = answers_[static_cast<size_t>(why)]) {
            return reply.ParseFrom(answer->data(), answer->size()) ? IPC_UNKNOWN_REQUEST : IPC_BAD_DATAGRAM;
        }
    }
    const int32_t status = Run(request, data, reply);
    if (status == IPC_UNKNOWN_REQUEST) {
        const MutexLock lock(mutex_);
        answers_[static_cast<size_t>(why)].emplace(reply.GetData(), reply.GetData() + reply.GetDataSize());
    }
    return status;
}

int32_t ServiceClients::Run(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    Begin(request.code);
    const bool wasLoaded = abilities_->IsLoaded(COMM_DISTRIBUTED_NET_ABILITY_ID);
    int32_t status = IPC_HANDLER_FAILED;
    QuviewDFX::RunGuarded(
        LABEL, [&request] { return "request " + std::to_string(request.code) + " of the service"; },
        [&] { status = abilities_->Dispatch(request, data, reply); });
    End(request.code, WasCounted(status), wasLoaded);
    return status;
}

// Records that a request begins. For a release request, Begin removes the process from users_ before the request runs.
// For any other request, End adds the process after the request has run. So users_ contains every process that the
// service counts, even if two connections of one process send requests at the same time.
void ServiceClients::Begin(uint32_t code)
{
    const MutexLock lock(mutex_);
    while (isReleasing_) {
        released_.Wait(mutex_);
    }
    ++running_;
    if (code == RELEASE) {
        users_.erase(IPCSkeleton::GetCallingPid());
    }
}

void ServiceClients::End(uint32_t code, bool wasCounted, bool wasLoaded)
{
    MutexLock lock(mutex_);
    --running_;
    if (wasCounted) {
        isLoadedForNobody_ = false;
        if (code != RELEASE) {
            users_.insert(IPCSkeleton::GetCallingPid());
        }
    } else if (!wasLoaded) {
        isLoadedForNobody_ = true;
    }
    if (!isLoadedForNobody_ || !users_.empty() || running_ != 0) {
        return;
    }
    // No request is running, and new requests wait while isReleasing_ is set. So the service cannot count another
    // process between its check for users and its stop.
    isLoadedForNobody_ = false;
    isReleasing_ = true;
    lock.Unlock();
    {
        const CallerScope self(IPCSkeleton::SelfIdentity());
        Release();
    }
    lock.Lock();
    isReleasing_ = false;
    released_.NotifyAll();
}

ServiceAnswer ServiceClients::StartDistributedNetwork(const std::string& networkId)
{
    MessageParcel data;
    MessageParcel reply;
    data.WriteInterfaceToken(IDistNetService::GetDescriptor());
    data.WriteInt32(0);
    data.WriteInt32(0);
    data.WriteString(networkId);
    constexpr auto START = static_cast<uint32_t>(DistNetInterfaceCode::START_DISTRIBUTED_NETWORK);
    const int32_t status = Run(Ipc::IpcHeader{0, COMM_DISTRIBUTED_NET_ABILITY_ID, START}, data, reply);
    ServiceAnswer answer;
    answer.wasAsked =
        status != IPC_UNKNOWN_ABILITY && status != IPC_ABILITY_UNAVAILABLE && reply.ReadInt32(answer.code);
    ReleaseForGoneProcess();
    return answer;
}

void ServiceClients::ReleaseForGoneProcess()
{
    {
        const MutexLock lock(mutex_);
        if (users_.erase(IPCSkeleton::GetCallingPid()) == 0) {
            return;
        }
    }
    Release();
}

// Releases the service on behalf of the process for which this thread acts now.
void ServiceClients::Release()
{
    if (!abilities_->GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID)) {
        return;
    }
    MessageParcel data;
    MessageParcel reply;
    data.WriteInterfaceToken(IDistNetService::GetDescriptor());
    QuviewDFX::RunGuarded(LABEL, "release of the service", [&] {
        (void)abilities_->Dispatch(Ipc::IpcHeader{0, COMM_DISTRIBUTED_NET_ABILITY_ID, RELEASE}, data, reply);
    });
}

}  // namespace Vexo::Host
