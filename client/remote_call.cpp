#include "client/remote_call.h"

#include <utility>

#include "distributed/services/utils/distnet_errors.h"

namespace Vexo::Client {

namespace {

using NetManagerStandard::DISTNET_ERR_PERMISSION_DENIED;

CallResult Refused()
{
    return {CallStatus::REFUSED, DISTNET_ERR_PERMISSION_DENIED,
            "the daemon refuses this user; on a shipped installation root and the members of group netdev may ask"};
}

}  // namespace

RemoteCall::RemoteCall(std::shared_ptr<Ipc::IpcConnection> connection, std::string socketPath)
    : connection_(std::move(connection)), socketPath_(std::move(socketPath))
{
}

CallResult RemoteCall::Run(const Target& target, const Writer& write, const Reader& read,
                           std::chrono::milliseconds limit)
{
    MessageParcel data;
    MessageParcel reply;
    if (!data.WriteInterfaceToken(target.descriptor) || !write(data)) {
        return {CallStatus::BAD_ANSWER, 0, "the arguments do not fit into one request of 160 KiB"};
    }
    const int32_t status =
        connection_->Transact(static_cast<uint32_t>(target.abilityId), target.code, data, reply, limit);
    return FromStatus(status, reply, read, limit);
}

CallResult RemoteCall::FromStatus(int32_t status, MessageParcel& reply, const Reader& read,
                                  std::chrono::milliseconds limit) const
{
    switch (status) {
        case IPC_OK:
            break;
        case IPC_CLOSED:
        case IPC_REFUSED:
            return {CallStatus::UNREACHABLE, 0, "the daemon on " + socketPath_ + " went away"};
        case IPC_TIMED_OUT:
            return {CallStatus::TIMED_OUT, 0,
                    "no answer within " + std::to_string(limit.count()) + " ms from the daemon on " + socketPath_ +
                        ", which may still be working on the request"};
        case IPC_ABILITY_UNAVAILABLE:
            return {CallStatus::NOT_LOADED, 0,
                    "the daemon on " + socketPath_ + " could not start the service; its log says why"};
        case IPC_BUSY:
            return {CallStatus::BAD_ANSWER, 0,
                    "the daemon on " + socketPath_ + " is busy with too many requests; try again in a moment"};
        case IPC_HANDLER_FAILED:
            return {CallStatus::BAD_ANSWER, 0,
                    "the daemon on " + socketPath_ + " failed to handle this request; its log says why"};
        default:
            return FromRefusal(status, reply);
    }
    CallResult result;
    if (!read(reply, result.code)) {
        return Unreadable("it is cut off");
    }
    if (result.code == DISTNET_ERR_PERMISSION_DENIED) {
        return Refused();
    }
    if (result.code != 0) {
        result.message = DescribeCode(result.code).meaning;
    }
    return result;
}

CallResult RemoteCall::Unreadable(const std::string& problem) const
{
    return {
        CallStatus::BAD_ANSWER, 0,
        "the answer of the daemon on " + socketPath_ + " cannot be read: " + problem + "; is it of another version?"};
}

// Returns the result for each status that FromStatus does not handle. IPC_UNKNOWN_REQUEST means that the server refused
// the request or does not know it. If the server refused the request, the reply starts with the code that says why.
CallResult RemoteCall::FromRefusal(int32_t status, MessageParcel& reply) const
{
    int32_t code = 0;
    if (status == IPC_UNKNOWN_REQUEST && reply.ReadInt32(code) && code != 0) {
        return code == DISTNET_ERR_PERMISSION_DENIED
                   ? Refused()
                   : CallResult{CallStatus::ANSWERED, code, DescribeCode(code).meaning};
    }
    if (status >= 1'000'000) {  // the service could not read the arguments or write the reply
        return {CallStatus::ANSWERED, status, DescribeCode(status).meaning};
    }
    return {CallStatus::BAD_ANSWER, 0,
            "the daemon on " + socketPath_ + " cannot serve this request (status " + std::to_string(status) +
                "); is it of another version?"};
}

}  // namespace Vexo::Client
