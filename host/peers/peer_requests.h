// PeerRequests: answers requests of other devices on the pool, at most MAX_SERVED_REQUESTS of one device at a time.
// Private to peer_link.cpp. Any thread; does not block.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "host/peers/peer_link.h"
#include "platform/base/mutex.h"
#include "platform/dfx/log_limit.h"

namespace Vexo::Host {

class PeerRequests : public NoCopyable, public std::enable_shared_from_this<PeerRequests> {
public:
    explicit PeerRequests(PeerLink::Serve serve) : serve_(std::move(serve)) {}

    // Serves the request on the pool and sends the answer over the session if it is still open. Drops the request, with
    // a log line, if MAX_SERVED_REQUESTS of the device are being served.
    void Answer(const std::string& networkId, int sessionId, const NumberedRequest& request) EXCLUDES(mutex_);

private:
    void OnServed(const std::string& networkId) EXCLUDES(mutex_);

    const PeerLink::Serve serve_;
    QuviewDFX::LogLimit<std::string> droppedLines_;  // by network id
    Mutex mutex_;
    std::map<std::string, size_t> served_ GUARDED_BY(mutex_);  // requests being served, by network id
};

// Sends text as one message of the session. Returns a SoftBusResult.
int SendMessage(int sessionId, const std::string& text);

}  // namespace Vexo::Host
