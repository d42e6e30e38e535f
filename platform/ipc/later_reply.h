// LaterReply: a reply that is sent after the request's handler has returned. With a later reply, a request that waits
// for an event occupies no worker. The handler calls Take(), stores the returned object, and later calls Complete on
// any thread. The server reads the connection's next request only after Complete. Complete may be called even if the
// client or the server has ended.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/nocopyable.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Ipc {

// Receives a later reply. The connection of the request implements it.
class ReplyTarget {
public:
    virtual ~ReplyTarget() = default;
    // Sends the reply if the connection is still open. Does not block. Thread-safe.
    virtual void SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply) = 0;
};

class LaterReply : public NoCopyable {
public:
    // Takes over the reply of the request that runs on this thread. The handler's return value is then ignored. Returns
    // null if the thread runs no request of a server, if the client is in the same process, or if the reply was taken
    // over already.
    static std::unique_ptr<LaterReply> Take();

    LaterReply(std::shared_ptr<ReplyTarget> target, uint32_t abilityId);
    // Completes the reply with IPC_HANDLER_FAILED if Complete was not called.
    ~LaterReply();

    // Sends the reply. A second call does nothing. Does not block. Call Complete on one thread at a time.
    void Complete(int32_t status, const MessageParcel& reply);

private:
    std::shared_ptr<ReplyTarget> target_;  // null after Complete
    const uint32_t abilityId_;
};

// While this object exists, LaterReply::Take can take over the reply of the request that runs on this thread. The
// constructor without parameters is for a call from inside the process: Take then returns null, because such a call
// must have its reply when the call returns.
class RequestScope : public NoCopyable {
public:
    RequestScope();
    RequestScope(const std::shared_ptr<ReplyTarget>& target, uint32_t abilityId);
    ~RequestScope();

    bool IsTaken() const { return isTaken_; }

private:
    friend class LaterReply;

    const std::shared_ptr<ReplyTarget>* const target_ = nullptr;  // owned by the creator of this object
    const uint32_t abilityId_ = 0;
    bool isTaken_ = false;
    RequestScope* const previous_;
};

}  // namespace Vexo::Ipc
