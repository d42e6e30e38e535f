#include "host/network_requests.h"

#include <string>
#include <utility>
#include <vector>

#include "host/host_arguments.h"
#include "host/host_replies.h"
#include "interfaces/online_answers_json.h"
#include "interfaces/sharing_answers_json.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {
namespace {

// The maximum number of network ids in a request, which is more than the devices of an account.
constexpr uint32_t MAX_IDS = 256;

bool ReadIds(MessageParcel& data, std::vector<std::string>& networkIds)
{
    uint32_t count = 0;
    if (!data.ReadUint32(count) || count > MAX_IDS) {
        return false;
    }
    networkIds.resize(count);
    for (std::string& networkId : networkIds) {
        if (!data.ReadString(networkId)) {
            return false;
        }
    }
    return true;
}

bool IsDecision(uint32_t decision)
{
    return decision >= static_cast<uint32_t>(ShareDecision::ONCE) &&
           decision <= static_cast<uint32_t>(ShareDecision::DENY);
}

}  // namespace

bool NetworkRequests::Handles(uint32_t code)
{
    return code >= static_cast<uint32_t>(HostInterfaceCode::BEGIN_ONLINE) &&
           code <= static_cast<uint32_t>(HostInterfaceCode::ANSWER_SHARE_REQUEST);
}

int32_t NetworkRequests::Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    switch (code) {
        case HostInterfaceCode::BEGIN_ONLINE:
            return RunBegin(data, reply);
        case HostInterfaceCode::WAIT_FOR_ONLINE:
            return RunWait(data, reply);
        case HostInterfaceCode::CANCEL_ONLINE:
            return RunCancel(data, reply);
        case HostInterfaceCode::BRING_DOWN:
            return AnsweredLater<DownAnswer>(
                reply, [this](IDistNetHost::Answer<DownAnswer> answer) { online_->Down(std::move(answer)); });
        case HostInterfaceCode::GET_ONLINE:
            return Write(reply, HOST_OK, online_->Status());
        case HostInterfaceCode::GET_SHARING:
            return Write(reply, HOST_OK, sharing_->Status());
        case HostInterfaceCode::ANSWER_SHARE_REQUEST:
            return RunDecision(data, reply);
        default:
            return RunSettings(code, data, reply);
    }
}

int32_t NetworkRequests::RunBegin(MessageParcel& data, MessageParcel& reply)
{
    uint32_t mode = 0;
    std::vector<std::string> networkIds;
    const bool isRead = data.ReadUint32(mode) && ReadIds(data, networkIds);
    const bool isUp = mode == static_cast<uint32_t>(OnlineMode::UP);
    const bool isStart = mode == static_cast<uint32_t>(OnlineMode::START) && networkIds.size() == 1;
    if (!isRead || !(isUp || isStart)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return Write(reply, HOST_OK,
                 online_->Begin(IPCSkeleton::GetCallingPid(), static_cast<OnlineMode>(mode), networkIds));
}

int32_t NetworkRequests::RunWait(MessageParcel& data, MessageParcel& reply)
{
    uint32_t revision = 0;
    std::chrono::milliseconds limit{0};
    if (!ReadWait(data, revision, limit)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    const pid_t caller = IPCSkeleton::GetCallingPid();
    return AnsweredLater<OnlineAnswer>(reply, [&](IDistNetHost::Answer<OnlineAnswer> answer) {
        online_->WaitForChange(caller, revision, limit, std::move(answer));
    });
}

int32_t NetworkRequests::RunCancel(MessageParcel& data, MessageParcel& reply)
{
    bool hasTimedOut = false;
    if (!data.ReadBool(hasTimedOut)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    const pid_t caller = IPCSkeleton::GetCallingPid();
    return AnsweredLater<OnlineAnswer>(reply, [&](IDistNetHost::Answer<OnlineAnswer> answer) {
        online_->Cancel(caller, hasTimedOut, std::move(answer));
    });
}

int32_t NetworkRequests::RunSettings(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    bool isOn = false;
    if (code == HostInterfaceCode::SET_AUTO && data.ReadBool(isOn)) {
        return Write(reply, HOST_OK, online_->SetAuto(isOn));
    }
    std::vector<std::string> networkIds;
    if (code == HostInterfaceCode::SET_PREFERRED && ReadIds(data, networkIds)) {
        return Write(reply, HOST_OK, online_->SetPreferred(networkIds));
    }
    return WriteFailure(reply, HOST_BAD_REQUEST);
}

int32_t NetworkRequests::RunDecision(MessageParcel& data, MessageParcel& reply)
{
    std::string networkId;
    uint32_t decision = 0;
    if (!data.ReadString(networkId) || !data.ReadUint32(decision) || !IsDecision(decision)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return Write(reply, HOST_OK, sharing_->Decide(networkId, static_cast<ShareDecision>(decision)));
}

}  // namespace Vexo::Host
