#include "host/distnet_host_stub.h"

#include <future>
#include <memory>
#include <optional>
#include <utility>

#include "host/caller_rights.h"
#include "platform/dfx/log.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/later_reply.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};
constexpr auto MAX_WAIT_MS = static_cast<uint32_t>(HOST_MAX_WAIT.count());

bool IsKnown(uint32_t code)
{
    return code >= static_cast<uint32_t>(HostInterfaceCode::GET_STATUS) &&
           code <= static_cast<uint32_t>(HostInterfaceCode::GET_CHECKS);
}

int Refuse(MessageParcel& reply, HostResult result)
{
    reply.WriteInt32(result);
    return IPC_UNKNOWN_REQUEST;
}

int32_t Write(MessageParcel& reply, int32_t result, const std::string& json)
{
    const bool written = reply.WriteInt32(result) && (result != HOST_OK || reply.WriteString(json));
    return written ? IPC_OK : IPC_BAD_DATAGRAM;
}

}  // namespace

int DistNetHostStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    if (data.ReadInterfaceToken() != GetDescriptor()) {
        LogRefusal("its request is for another interface");
        return Refuse(reply, HOST_BAD_REQUEST);
    }
    if (!IsKnown(code)) {
        return IPCObjectStub::OnRemoteRequest(code, data, reply, option);
    }
    if (!CallerHasRights()) {
        LogRefusal("not permitted");
        return Refuse(reply, HOST_NOT_PERMITTED);
    }
    const auto operation = static_cast<HostInterfaceCode>(code);
    if (operation == HostInterfaceCode::WAIT_FOR_WIFI || operation == HostInterfaceCode::GET_EVENTS) {
        return RunWait(operation, data, reply);
    }
    std::string json;
    const int32_t result = Run(operation, data, json);
    return Write(reply, result, json);
}

void DistNetHostStub::LogRefusal(const char* why)
{
    const uid_t user = IPCSkeleton::GetCallingUid();
    if (const std::optional<std::string> leftOut = refusalLines_.Admit(user)) {
        QuviewDFX::LogError(LABEL, "refused pid %{public}d, uid %{public}u: %{public}s%{public}s",
                            IPCSkeleton::GetCallingPid(), user, why, *leftOut);
    }
}

int32_t DistNetHostStub::Run(HostInterfaceCode code, MessageParcel& data, std::string& json)
{
    switch (code) {
        case HostInterfaceCode::GET_STATUS:
            return GetStatus(json);
        case HostInterfaceCode::GET_COUNTS:
            return GetCounts(json);
        case HostInterfaceCode::GET_DEVICES:
            return GetDevices(json);
        case HostInterfaceCode::START_TRACE:
            return RunStartTrace(data, json);
        case HostInterfaceCode::STOP_TRACE:
            return RunStopTrace(data, json);
        case HostInterfaceCode::GET_CHECKS:
            return GetChecks(json);
        case HostInterfaceCode::GET_EVENTS:
        case HostInterfaceCode::WAIT_FOR_WIFI:
            break;  // RunWait
    }
    return HOST_BAD_REQUEST;
}

int32_t DistNetHostStub::RunWait(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    const auto await = code == HostInterfaceCode::WAIT_FOR_WIFI ? ReadWaitForWifi(data) : ReadGetEvents(data);
    if (!await) {
        return Write(reply, HOST_BAD_REQUEST, {});
    }
    if (const std::shared_ptr<Ipc::LaterReply> later = Ipc::LaterReply::Take()) {
        await([later](int32_t result, const std::string& json) {
            MessageParcel answer;
            const int32_t status = Write(answer, result, json);
            later->Complete(status, answer);
        });
        return IPC_OK;
    }
    const auto status = std::make_shared<std::promise<int32_t>>();
    await([&reply, status](int32_t result, const std::string& json) { status->set_value(Write(reply, result, json)); });
    return status->get_future().get();
}

std::function<void(IDistNetHost::Answer)> DistNetHostStub::ReadWaitForWifi(MessageParcel& data)
{
    uint32_t attempt = 0;
    int32_t state = 0;
    uint32_t limitMs = 0;
    if (!data.ReadUint32(attempt) || !data.ReadInt32(state) || !data.ReadUint32(limitMs) || limitMs > MAX_WAIT_MS) {
        return nullptr;
    }
    return [=, this](Answer answer) {
        WaitForWifi(attempt, state, std::chrono::milliseconds(limitMs), std::move(answer));
    };
}

std::function<void(IDistNetHost::Answer)> DistNetHostStub::ReadGetEvents(MessageParcel& data)
{
    uint64_t cursor = 0;
    uint32_t limitMs = 0;
    if (!data.ReadUint64(cursor) || !data.ReadUint32(limitMs) || limitMs > MAX_WAIT_MS) {
        return nullptr;
    }
    return [=, this](Answer answer) { GetEvents(cursor, std::chrono::milliseconds(limitMs), std::move(answer)); };
}

int32_t DistNetHostStub::RunStartTrace(MessageParcel& data, std::string& json)
{
    uint32_t limitMs = 0;
    bool detached = false;
    const bool good = data.ReadUint32(limitMs) && data.ReadBool(detached);
    return good ? StartTrace(limitMs, detached, json) : HOST_BAD_REQUEST;
}

int32_t DistNetHostStub::RunStopTrace(MessageParcel& data, std::string& json)
{
    uint32_t recording = 0;
    uint64_t offset = 0;
    const bool good = data.ReadUint32(recording) && data.ReadUint64(offset);
    return good ? StopTrace(recording, offset, json) : HOST_BAD_REQUEST;
}

}  // namespace Vexo::Host
