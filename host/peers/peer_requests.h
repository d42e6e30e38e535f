// PeerRequests: answers requests of other devices on the pool, a few of one device at a time. Private to
// peer_link.cpp. Any thread; does not block.
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

    // Has the request answered, and sends the answer over the session, if that is open still. Drops the request, with a
    // log line, when MAX_SERVED_REQUESTS of the device are being answered.
    void Answer(const std::string& networkId, int sessionId, const NumberedRequest& request) EXCLUDES(mutex_);

private:
    void OnServed(const std::string& networkId) EXCLUDES(mutex_);

    const PeerLink::Serve serve_;
    QuviewDFX::LogLimit<std::string> droppedLines_;  // by network id
    Mutex mutex_;
    std::map<std::string, size_t> served_ GUARDED_BY(mutex_);  // under way, by network id
};

// Sends it as one message of the session; a SoftBusResult.
int SendMessage(int sessionId, const std::string& text);

}  // namespace Vexo::Host
