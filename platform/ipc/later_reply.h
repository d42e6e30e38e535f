// LaterReply: the reply of a request that is given after its handler has returned, so that a request that waits for
// something holds no worker. The handler takes it, keeps it as long as it likes and completes it from any thread. The
// connection reads its next request after that. Neither the client nor the server need be there any more by then.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/nocopyable.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Ipc {

// Where a reply that comes later goes: the connection that the request came from.
class ReplyTarget {
public:
    virtual ~ReplyTarget() = default;
    // Sends the reply if the connection still stands. Does not block. Any thread.
    virtual void SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply) = 0;
};

class LaterReply : public NoCopyable {
public:
    // The reply of the request that runs on this thread; what its handler returns then counts no more. Null where no
    // request of a server runs, in a call from inside the process, and when the reply has been taken already.
    static std::unique_ptr<LaterReply> Take();

    LaterReply(std::shared_ptr<ReplyTarget> target, uint32_t abilityId);
    // A reply that was not completed is completed with IPC_HANDLER_FAILED.
    ~LaterReply();

    // Once; a second call does nothing. Does not block. Calls of one object from one thread at a time.
    void Complete(int32_t status, const MessageParcel& reply);

private:
    std::shared_ptr<ReplyTarget> target_;  // null once completed
    const uint32_t abilityId_;
};

// For its life, the calling thread runs a request whose reply LaterReply::Take may take. A scope without a target hides
// the one around it: a call from inside the process is answered when it returns.
class RequestScope : public NoCopyable {
public:
    RequestScope();
    RequestScope(const std::shared_ptr<ReplyTarget>& target, uint32_t abilityId);
    ~RequestScope();

    bool IsTaken() const { return isTaken_; }

private:
    friend class LaterReply;

    const std::shared_ptr<ReplyTarget>* const target_ = nullptr;  // the caller's, for the scope's life
    const uint32_t abilityId_ = 0;
    bool isTaken_ = false;
    RequestScope* const previous_;
};

}  // namespace Vexo::Ipc
