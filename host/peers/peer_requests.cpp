#include "host/peers/peer_requests.h"

#include "platform/base/text.h"
#include "platform/dfx/log.h"
#include "platform/softbus/session.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "PeerLink"};

}  // namespace

int SendMessage(int sessionId, const std::string& text)
{
    return SendBytes(sessionId, text.data(), static_cast<unsigned int>(text.size()));
}

void PeerRequests::Answer(const std::string& networkId, int sessionId, const NumberedRequest& request)
{
    bool isServed = false;
    {
        const MutexLock lock(mutex_);
        size_t& count = served_[networkId];
        isServed = count < MAX_SERVED_REQUESTS;
        count += isServed ? 1 : 0;
    }
    if (!isServed) {
        if (const auto leftOut = droppedLines_.Admit(networkId)) {
            QuviewDFX::LogWarn(LABEL, "a request of %{public}s is dropped: too many at a time%{public}s",
                               ShortId(networkId), *leftOut);
        }
        return;
    }
    const auto serve = [self = shared_from_this(), sessionId, networkId, request] {
        (void)SendMessage(sessionId, Encode(NumberedAnswer{request.number, self->serve_(networkId, request.request)}));
    };
    // An idle thread of the pool keeps this function object. With a shared pointer, the function object would keep the
    // PeerRequests alive.
    const auto served = [weak = weak_from_this(), networkId] {
        if (const auto self = weak.lock()) {
            self->OnServed(networkId);
        }
    };
    if (!Tasks::ElasticPool::Shared().Post(serve, served)) {
        OnServed(networkId);
    }
}

void PeerRequests::OnServed(const std::string& networkId)
{
    const MutexLock lock(mutex_);
    const auto served = served_.find(networkId);
    if (--served->second == 0) {
        served_.erase(served);
    }
}

}  // namespace Vexo::Host
