#include "platform/ipc/later_reply.h"

#include <utility>

#include "platform/base/check.h"
#include "platform/ipc/ipc_types.h"

namespace Vexo::Ipc {
namespace {

thread_local RequestScope* currentRequest = nullptr;

}  // namespace

RequestScope::RequestScope() : previous_(std::exchange(currentRequest, this)) {}

RequestScope::RequestScope(const std::shared_ptr<ReplyTarget>& target, uint32_t abilityId)
    : target_(&target), abilityId_(abilityId), previous_(std::exchange(currentRequest, this))
{
}

RequestScope::~RequestScope()
{
    DISTNET_CHECK(currentRequest == this, "scopes of a thread are destroyed in reverse order");
    currentRequest = previous_;
}

std::unique_ptr<LaterReply> LaterReply::Take()
{
    RequestScope* const request = currentRequest;
    if (request == nullptr || request->target_ == nullptr || request->isTaken_) {
        return nullptr;
    }
    request->isTaken_ = true;
    return std::make_unique<LaterReply>(*request->target_, request->abilityId_);
}

LaterReply::LaterReply(std::shared_ptr<ReplyTarget> target, uint32_t abilityId)
    : target_(std::move(target)), abilityId_(abilityId)
{
}

LaterReply::~LaterReply()
{
    Complete(IPC_HANDLER_FAILED, MessageParcel());
}

void LaterReply::Complete(int32_t status, const MessageParcel& reply)
{
    if (const auto target = std::exchange(target_, nullptr)) {
        target->SendLater(abilityId_, status, reply);
    }
}

}  // namespace Vexo::Ipc
