#include "host/distnet_host_stub.h"

#include <optional>
#include <utility>

#include "host/caller_rights.h"
#include "host/host_arguments.h"
#include "host/host_replies.h"
#include "interfaces/host_answers_json.h"
#include "platform/dfx/log.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};

bool IsKnown(uint32_t code)
{
    return code >= static_cast<uint32_t>(HostInterfaceCode::GET_STATUS) &&
           code <= static_cast<uint32_t>(HostInterfaceCode::SCAN_DEVICES);
}

int Refuse(MessageParcel& reply, HostResult result)
{
    reply.WriteInt32(result);
    return IPC_UNKNOWN_REQUEST;
}

}  // namespace

int DistNetHostStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    if (data.ReadInterfaceToken() != GetDescriptor()) {
        LogRefusal("its request is for another interface");
        return Refuse(reply, HOST_BAD_REQUEST);
    }
    if (AccountRequests::Handles(code) && account_ != nullptr) {
        return account_->Run(static_cast<HostInterfaceCode>(code), data, reply);
    }
    const bool isNetwork = NetworkRequests::Handles(code) && network_ != nullptr;
    if (!IsKnown(code) && !isNetwork) {
        return IPCObjectStub::OnRemoteRequest(code, data, reply, option);
    }
    if (!CallerHasRights()) {
        LogRefusal("not permitted");
        return Refuse(reply, HOST_NOT_PERMITTED);
    }
    return isNetwork ? network_->Run(static_cast<HostInterfaceCode>(code), data, reply)
                     : Run(static_cast<HostInterfaceCode>(code), data, reply);
}

void DistNetHostStub::LogRefusal(const char* why)
{
    const uid_t user = IPCSkeleton::GetCallingUid();
    if (const std::optional<std::string> leftOut = refusalLines_.Admit(user)) {
        QuviewDFX::LogError(LABEL, "refused pid %{public}d, uid %{public}u: %{public}s%{public}s",
                            IPCSkeleton::GetCallingPid(), user, why, *leftOut);
    }
}

int32_t DistNetHostStub::Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    switch (code) {
        case HostInterfaceCode::GET_STATUS:
            return Answered<HostStatus>(reply, [this](auto& status) { return GetStatus(status); });
        case HostInterfaceCode::GET_COUNTS:
            return Answered<HostCounts>(reply, [this](auto& counts) { return GetCounts(counts); });
        case HostInterfaceCode::GET_DEVICES:
            return Answered<DeviceList>(reply, [this](auto& devices) { return GetDevices(devices); });
        case HostInterfaceCode::GET_CHECKS:
            return Answered<CheckList>(reply, [this](auto& checks) { return GetChecks(checks); });
        case HostInterfaceCode::START_TRACE:
            return RunStartTrace(data, reply);
        case HostInterfaceCode::STOP_TRACE:
            return RunStopTrace(data, reply);
        case HostInterfaceCode::WAIT_FOR_WIFI:
            return RunWaitForWifi(data, reply);
        case HostInterfaceCode::GET_EVENTS:
            return RunGetEvents(data, reply);
        case HostInterfaceCode::SCAN_DEVICES:
            return AnsweredLater<DeviceList>(reply,
                                             [this](Answer<DeviceList> answer) { ScanDevices(std::move(answer)); });
        default:
            break;  // the requests that AccountRequests and NetworkRequests handle; they do not reach this function
    }
    return WriteFailure(reply, HOST_BAD_REQUEST);
}

int32_t DistNetHostStub::RunStartTrace(MessageParcel& data, MessageParcel& reply)
{
    uint32_t limitMs = 0;
    bool detached = false;
    if (!data.ReadUint32(limitMs) || !data.ReadBool(detached)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return Answered<TraceRecording>(
        reply, [&](auto& started) { return StartTrace(std::chrono::milliseconds(limitMs), detached, started); });
}

int32_t DistNetHostStub::RunStopTrace(MessageParcel& data, MessageParcel& reply)
{
    uint32_t recording = 0;
    uint64_t offset = 0;
    if (!data.ReadUint32(recording) || !data.ReadUint64(offset)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return Answered<TracePiece>(reply, [&](auto& piece) { return StopTrace(recording, offset, piece); });
}

int32_t DistNetHostStub::RunWaitForWifi(MessageParcel& data, MessageParcel& reply)
{
    uint32_t attempt = 0;
    int32_t state = 0;
    std::chrono::milliseconds limit{0};
    if (!data.ReadUint32(attempt) || !data.ReadInt32(state) || !ReadWaitLimit(data, limit)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return AnsweredLater<WifiStatus>(reply, [&](Answer<WifiStatus> answer) {
        WaitForWifi(attempt, static_cast<WifiState>(state), limit, std::move(answer));
    });
}

int32_t DistNetHostStub::RunGetEvents(MessageParcel& data, MessageParcel& reply)
{
    uint64_t cursor = 0;
    std::chrono::milliseconds limit{0};
    if (!data.ReadUint64(cursor) || !ReadWaitLimit(data, limit)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return AnsweredLater<EventPage>(reply,
                                    [&](Answer<EventPage> answer) { GetEvents(cursor, limit, std::move(answer)); });
}

}  // namespace Vexo::Host
