#include "platform/collaboration/data_channel.h"

#include <utility>

namespace Vexo::CollaborationFwk {

void DataChannel::Register(const sptr<DataCallback>& callback)
{
    sptr<DataCallback> replaced;  // destroyed after mutex_ is unlocked
    const MutexLock lock(mutex_);
    replaced = std::exchange(callback_, callback);
    ReportReady();
    // Posts one delivery for each waiting message. If a callback was registered before, Received has already posted
    // these deliveries.
    for (size_t i = 0; !replaced && i < waiting_.size(); ++i) {
        (void)PostDelivery();
    }
}

void DataChannel::Unregister()
{
    sptr<DataCallback> released;
    const MutexLock lock(mutex_);
    released = std::exchange(callback_, nullptr);
    readyReported_ = false;
    waiting_.clear();
    waitingBytes_ = 0;
}

void DataChannel::PeerReady()
{
    const MutexLock lock(mutex_);
    peerReady_ = true;
    ReportReady();
}

// OnDataReceiverReady may block until data arrives, and strand_ delivers the data. So OnDataReceiverReady is called on
// another thread.
void DataChannel::ReportReady()
{
    if (callback_ && peerReady_ && !readyReported_) {
        readyReported_ = Tasks::ElasticPool::Shared().Post(
            [callback = callback_, id = sessionId_] { callback->OnDataReceiverReady(id); });
    }
}

bool DataChannel::Received(std::string bytes)
{
    const MutexLock lock(mutex_);
    if (waiting_.size() == MAX_WAITING_MESSAGES || waitingBytes_ + bytes.size() > MAX_WAITING_BYTES) {
        return false;
    }
    waitingBytes_ += bytes.size();
    waiting_.push_back(std::move(bytes));
    return !callback_ || PostDelivery();
}

void DataChannel::End()
{
    // A peer may close the session right after its last message. So the callback is removed only after the deliveries
    // that are queued on strand_.
    (void)strand_.Post([self = shared_from_this()] { self->Unregister(); });
}

bool DataChannel::PostDelivery()
{
    return strand_.Post([self = shared_from_this()] { self->DeliverNext(); });
}

void DataChannel::DeliverNext()
{
    sptr<DataCallback> callback;
    std::string bytes;
    {
        const MutexLock lock(mutex_);
        if (!callback_ || waiting_.empty()) {
            return;
        }
        callback = callback_;
        bytes = std::move(waiting_.front());
        waiting_.pop_front();
        waitingBytes_ -= bytes.size();
    }
    callback->OnDataReceived(sessionId_, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

}  // namespace Vexo::CollaborationFwk
