#include "host/account_requests.h"

#include <string>
#include <utility>

#include "host/caller_rights.h"
#include "host/host_arguments.h"
#include "host/host_replies.h"
#include "interfaces/account_answers_json.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {

bool AccountRequests::Handles(uint32_t code)
{
    return code >= static_cast<uint32_t>(HostInterfaceCode::OPEN_INVITATION) &&
           code <= static_cast<uint32_t>(HostInterfaceCode::TRANSFER_ACCOUNT);
}

int32_t AccountRequests::Run(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    switch (code) {
        case HostInterfaceCode::OPEN_INVITATION:
        case HostInterfaceCode::WAIT_FOR_INVITATION:
        case HostInterfaceCode::ANSWER_JOINER:
        case HostInterfaceCode::CLOSE_INVITATION:
            return RunInvitation(code, data, reply);
        case HostInterfaceCode::START_JOIN:
        case HostInterfaceCode::WAIT_FOR_JOIN:
        case HostInterfaceCode::CANCEL_JOIN:
            return RunJoin(code, data, reply);
        case HostInterfaceCode::GET_MEMBERS:
            return Answered<MemberList>(reply, [this](MemberList& list) -> int32_t {
                if (!CallerHasRights()) {
                    return HOST_NOT_PERMITTED;
                }
                list = operations_->Members();
                return HOST_OK;
            });
        case HostInterfaceCode::TRANSFER_ACCOUNT:
            return RunTransfer(data, reply);
        default:
            return RunChange(code, data, reply);
    }
}

template <typename Value>
int32_t AccountRequests::RunIfPermitted(MessageParcel& reply, std::function<Value()> operation)
{
    return AnsweredLater<Value>(reply, [&](IDistNetHost::Answer<Value> answer) {
        rights_->Check([answer = std::move(answer), operation = std::move(operation)](bool isGranted) {
            answer(isGranted ? HOST_OK : HOST_NOT_PERMITTED, isGranted ? operation() : Value());
        });
    });
}

int32_t AccountRequests::RunInvitation(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    const pid_t caller = IPCSkeleton::GetCallingPid();
    bool flag = false;
    if (code == HostInterfaceCode::OPEN_INVITATION && data.ReadBool(flag)) {
        return RunIfPermitted<InvitationAnswer>(
            reply, [operations = operations_, caller, flag] { return operations->OpenInvitation(caller, flag); });
    }
    uint32_t revision = 0;
    std::chrono::milliseconds limit{0};
    if (code == HostInterfaceCode::WAIT_FOR_INVITATION && ReadWait(data, revision, limit)) {
        return AnsweredLater<InvitationAnswer>(reply, [&](IDistNetHost::Answer<InvitationAnswer> answer) {
            operations_->WaitForInvitation(caller, revision, limit, std::move(answer));
        });
    }
    std::string networkId;
    if (code == HostInterfaceCode::ANSWER_JOINER && data.ReadString(networkId) && data.ReadBool(flag)) {
        return Write(reply, HOST_OK, operations_->AnswerJoiner(caller, networkId, flag));
    }
    if (code == HostInterfaceCode::CLOSE_INVITATION) {
        return Write(reply, HOST_OK, operations_->CloseInvitation(caller));
    }
    return WriteFailure(reply, HOST_BAD_REQUEST);
}

int32_t AccountRequests::RunJoin(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    const pid_t caller = IPCSkeleton::GetCallingPid();
    std::string ticket;
    std::string deviceName;
    if (code == HostInterfaceCode::START_JOIN && data.ReadString(ticket) && data.ReadString(deviceName)) {
        return RunIfPermitted<JoinAnswer>(reply, [operations = operations_, caller, ticket, deviceName] {
            return operations->StartJoin(caller, ticket, deviceName);
        });
    }
    uint32_t revision = 0;
    std::chrono::milliseconds limit{0};
    if (code == HostInterfaceCode::WAIT_FOR_JOIN && ReadWait(data, revision, limit)) {
        return AnsweredLater<JoinAnswer>(reply, [&](IDistNetHost::Answer<JoinAnswer> answer) {
            operations_->WaitForJoin(caller, revision, limit, std::move(answer));
        });
    }
    if (code == HostInterfaceCode::CANCEL_JOIN) {
        return Write(reply, HOST_OK, operations_->CancelJoin(caller));
    }
    return WriteFailure(reply, HOST_BAD_REQUEST);
}

int32_t AccountRequests::RunTransfer(MessageParcel& data, MessageParcel& reply)
{
    std::string networkId;
    if (!data.ReadString(networkId)) {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return AnsweredLater<ChangeAnswer>(reply, [&](IDistNetHost::Answer<ChangeAnswer> answer) {
        rights_->Check([answer = std::move(answer), operations = operations_, networkId](bool isGranted) {
            if (isGranted) {
                operations->Transfer(networkId, answer);
            } else {
                answer(HOST_NOT_PERMITTED, {});
            }
        });
    });
}

int32_t AccountRequests::RunChange(HostInterfaceCode code, MessageParcel& data, MessageParcel& reply)
{
    std::string networkId;
    std::string name;
    bool announcesNewKeyOnly = false;
    std::function<ChangeAnswer()> change;
    if (code == HostInterfaceCode::RENAME_MEMBER && data.ReadString(networkId) && data.ReadString(name)) {
        change = [=, operations = operations_] { return operations->RenameMember(networkId, name); };
    } else if (code == HostInterfaceCode::REMOVE_MEMBER && data.ReadString(networkId) &&
               data.ReadBool(announcesNewKeyOnly)) {
        change = [=, operations = operations_] { return operations->RemoveMember(networkId, announcesNewKeyOnly); };
    } else if (code == HostInterfaceCode::LEAVE_ACCOUNT) {
        change = [operations = operations_] { return operations->Leave(); };
    } else if (code == HostInterfaceCode::RENEW_ACCOUNT) {
        change = [operations = operations_] { return operations->Renew(); };
    } else {
        return WriteFailure(reply, HOST_BAD_REQUEST);
    }
    return RunIfPermitted<ChangeAnswer>(reply, std::move(change));
}

}  // namespace Vexo::Host
