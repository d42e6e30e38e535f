// DataChannel: the data of one collaboration as this side sees it: its callback, what has arrived for it, and whether
// the peer's receiver is ready. It belongs to a session of CollaborationServer (collaboration_server.h) and outlives it
// until what had arrived is delivered. Any thread. No call blocks. Callbacks: data_callback.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/collaboration/data_callback.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::CollaborationFwk {

// What waits for a callback, or for one that is slow.
inline constexpr size_t MAX_WAITING_MESSAGES = 64;
inline constexpr size_t MAX_WAITING_BYTES = size_t{1} << 20;

class DataChannel : public NoCopyable, public std::enable_shared_from_this<DataChannel> {
public:
    explicit DataChannel(int32_t sessionId) : sessionId_(sessionId) {}

    // What waits is delivered to the callback, then what arrives; it hears of a ready peer, now or later. It replaces
    // one that is there, and readiness that was reported to that one is not reported again.
    void Register(const sptr<DataCallback>& callback);
    // Waiting data is dropped; data that arrives later waits for the next callback. A running call is not waited for.
    void Unregister();

    // From the peer. Received: false when the message finds the queue full or cannot be delivered.
    void PeerReady();
    bool Received(std::string bytes);
    // Nothing arrives any more. The callback is released once it has what had arrived.
    void End();

private:
    void ReportReady() REQUIRES(mutex_);
    bool PostDelivery();
    void DeliverNext();

    const int32_t sessionId_;
    Tasks::Strand strand_;  // runs DeliverNext, once for each message
    Mutex mutex_;
    sptr<DataCallback> callback_ GUARDED_BY(mutex_);
    bool peerReady_ GUARDED_BY(mutex_) = false;
    bool readyReported_ GUARDED_BY(mutex_) = false;  // to this callback or one that it replaced
    std::deque<std::string> waiting_ GUARDED_BY(mutex_);
    size_t waitingBytes_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::CollaborationFwk
