// This file has the functions of CollaborationServer that handle the data of running collaborations.
#include <utility>

#include "platform/collaboration/collaboration_server.h"
#include "platform/softbus/session.h"

namespace Vexo::CollaborationFwk {
namespace {

int32_t ResultOfSendBytes(int result)
{
    switch (result) {
        case SOFTBUS_OK:
            return COLLABORATION_OK;
        case SOFTBUS_NO_SUCH_SESSION:
            return COLLABORATION_NO_SUCH_SESSION;
        case SOFTBUS_UNAVAILABLE:
            return COLLABORATION_UNAVAILABLE;
        default:
            return COLLABORATION_NOT_SENT;
    }
}

}  // namespace

CollaborationServer::SessionPtr CollaborationServer::Use(int32_t sessionId)
{
    const auto found = sessions_.find(sessionId);
    if (found == sessions_.end() || found->second->stage != Stage::OPEN) {
        return nullptr;
    }
    found->second->lastUse = timers_.Now();
    return found->second;
}

int32_t CollaborationServer::RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback)
{
    if (!callback) {
        return COLLABORATION_INVALID_ARGUMENT;
    }
    Parcel ready;
    (void)Encode(ReadyMessage{}, ready);
    const MutexLock lock(mutex_);
    const SessionPtr session = Use(sessionId);
    if (!session) {
        return COLLABORATION_NO_SUCH_SESSION;
    }
    if (!session->readySent) {
        if (const int sent = Send(sessionId, ready); sent != SOFTBUS_OK) {
            return ResultOfSendBytes(sent);
        }
        session->readySent = true;
    }
    session->data->Register(callback);
    return COLLABORATION_OK;
}

int32_t CollaborationServer::UnRegisterCollaborationDataCallback(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    if (const SessionPtr session = Use(sessionId)) {
        session->data->Unregister();
    }
    return COLLABORATION_OK;
}

int32_t CollaborationServer::SendCollaborationData(int32_t sessionId, const void* data, uint32_t size)
{
    if (data == nullptr || size == 0) {
        return COLLABORATION_INVALID_ARGUMENT;
    }
    Parcel parcel;
    if (size > MAX_PARCEL_SIZE || !Encode(DataMessage{{static_cast<const char*>(data), size}}, parcel)) {
        return COLLABORATION_TOO_LARGE;
    }
    {
        const MutexLock lock(mutex_);
        if (!Use(sessionId)) {
            return COLLABORATION_NO_SUCH_SESSION;
        }
    }
    return ResultOfSendBytes(Send(sessionId, parcel));
}

const char* CollaborationServer::HandleData(int32_t sessionId, std::string bytes)
{
    SessionPtr session;
    {
        const MutexLock lock(mutex_);
        session = Use(sessionId);
    }
    // Ask the policy for each message, because the owner may have changed the rules since the session was opened. The
    // answers of a device that this device has asked need no permission.
    const bool isAnswer = session && !session->inbound && (policy_ == nullptr || !policy_->IsRequest(bytes));
    if (session && !isAnswer && Admit(session->networkId) != COLLABORATION_OK) {
        return "a message that the owner's rules refuse";
    }
    return !session || session->data->Received(std::move(bytes)) ? nullptr : "one undelivered message too many";
}

void CollaborationServer::HandleReady(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    if (const SessionPtr session = Use(sessionId)) {
        session->data->PeerReady();
    }
}

}  // namespace Vexo::CollaborationFwk
