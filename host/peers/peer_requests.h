// PeerRequests: answers requests of other devices on the pool, at most MAX_SERVED_REQUESTS of one device at a time.
// Only peer_link.cpp uses it. Any thread may call it; it does not block.
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

    // Serves the request on the pool. Sends the answer if the session is still open. If MAX_SERVED_REQUESTS requests of
    // that device are already being served, drops the request and writes a log line.
    void Answer(const std::string& networkId, int sessionId, const NumberedRequest& request) EXCLUDES(mutex_);

private:
    void OnServed(const std::string& networkId) EXCLUDES(mutex_);

    const PeerLink::Serve serve_;
    QuviewDFX::LogLimit<std::string> droppedLines_;  // keyed by network id
    Mutex mutex_;
    std::map<std::string, size_t> served_ GUARDED_BY(mutex_);  // number of running requests, by network id
};

// Sends text as one message of the session. Returns a SoftBusResult.
int SendMessage(int sessionId, const std::string& text);

}  // namespace Vexo::Host
