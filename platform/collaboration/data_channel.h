// DataChannel: this side's data of one collaboration. It holds the registered callback, the received messages that wait
// for the callback, and whether the peer is ready to receive. A DataChannel belongs to a session of CollaborationServer
// (collaboration_server.h). When the session has ended, the DataChannel exists until the received messages are
// delivered. Thread-safe. No call blocks. Callbacks: data_callback.h.
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

// The limits for received data that waits, because no callback is registered or because the callback is slow.
inline constexpr size_t MAX_WAITING_MESSAGES = 64;
inline constexpr size_t MAX_WAITING_BYTES = size_t{1} << 20;

class DataChannel : public NoCopyable, public std::enable_shared_from_this<DataChannel> {
public:
    explicit DataChannel(int32_t sessionId) : sessionId_(sessionId) {}

    // Delivers waiting and later messages to the callback, and calls its OnDataReceiverReady when the peer is ready.
    // Replaces an earlier callback. If OnDataReceiverReady of the earlier callback was called, OnDataReceiverReady of
    // the new callback is not called.
    void Register(const sptr<DataCallback>& callback);
    // Removes the callback, and drops the waiting messages. Later messages wait for the next callback. Does not wait
    // until a running callback has returned.
    void Unregister();

    // Call PeerReady when the peer has sent READY, and Received when the peer has sent data. Received returns false if
    // the queue is full or the delivery cannot be posted.
    void PeerReady();
    bool Received(std::string bytes);
    // Call when the session has ended. Releases the callback after all received messages are delivered.
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
    bool readyReported_ GUARDED_BY(mutex_) = false;  // reported to this callback or a replaced one
    std::deque<std::string> waiting_ GUARDED_BY(mutex_);
    size_t waitingBytes_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::CollaborationFwk
