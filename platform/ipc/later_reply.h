// LaterReply: a reply that is sent after the request's handler has returned, so that a request that waits for something
// occupies no worker. The handler takes it with Take(), stores it and completes it from any thread. Only then is the
// connection's next request read. Client and server may be gone by that time.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/nocopyable.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Ipc {

// Where a later reply is sent: the connection of the request.
class ReplyTarget {
public:
    virtual ~ReplyTarget() = default;
    // Sends the reply if the connection is still open. Does not block. Any thread.
    virtual void SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply) = 0;
};

class LaterReply : public NoCopyable {
public:
    // Takes over the reply of the request that runs on this thread; the handler's return value is then ignored. Returns
    // null if the thread runs no request of a server, if the call comes from inside the process, or if the reply was
    // taken already.
    static std::unique_ptr<LaterReply> Take();

    LaterReply(std::shared_ptr<ReplyTarget> target, uint32_t abilityId);
    // Completes the reply with IPC_HANDLER_FAILED if Complete was not called.
    ~LaterReply();

    // Sends the reply. A second call does nothing. Does not block. One thread at a time.
    void Complete(int32_t status, const MessageParcel& reply);

private:
    std::shared_ptr<ReplyTarget> target_;  // null once completed
    const uint32_t abilityId_;
};

// While this object exists, the calling thread runs a request whose reply LaterReply::Take can take over. A scope
// without a target hides the outer scope, because a call from inside the process is answered when it returns.
class RequestScope : public NoCopyable {
public:
    RequestScope();
    RequestScope(const std::shared_ptr<ReplyTarget>& target, uint32_t abilityId);
    ~RequestScope();

    bool IsTaken() const { return isTaken_; }

private:
    friend class LaterReply;

    const std::shared_ptr<ReplyTarget>* const target_ = nullptr;  // the caller keeps it alive
    const uint32_t abilityId_ = 0;
    bool isTaken_ = false;
    RequestScope* const previous_;
};

}  // namespace Vexo::Ipc
