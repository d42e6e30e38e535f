// LoopbackBus: ability 4700 for tests, on which this device is its own peer: each open makes two sessions of the one
// session server, the opener's and the peer's, so that a single collaboration framework plays both sides. Callbacks
// come on a strand, in order. Faults are switched on by a test.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>

#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/softbus/softbus_service.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Tests {

class LoopbackBus : public IPCObjectStub, public SoftBus::ISoftBusService {
public:
    inline static const std::string PEER = std::string(64, 'a');

    std::atomic<int> openedResult{SOFTBUS_OK};  // of the opened callback
    std::atomic<bool> opens{true};              // false: no callback comes
    std::atomic<bool> delivers{true};           // false: what is sent is lost
    std::atomic<int> openings{0};

    int CreateSessionServer(const std::string&, const std::string&, const ISessionListener& table) override
    {
        const MutexLock lock(mutex_);
        listener_ = table;
        return SOFTBUS_OK;
    }
    int RemoveSessionServer(const std::string&, const std::string&) override
    {
        const MutexLock lock(mutex_);
        others_.clear();
        return SOFTBUS_OK;
    }
    int OpenSession(const std::string&, const std::string&, const std::string& networkId,
                    const SessionAttribute&) override
    {
        if (networkId != PEER) {
            return SOFTBUS_NO_SUCH_PEER;
        }
        ++openings;
        const MutexLock lock(mutex_);
        const int opener = ++lastId_;
        if (openedResult == SOFTBUS_OK) {
            const int peer = ++lastId_;
            others_[opener] = peer;
            others_[peer] = opener;
            Post([peer](auto& table) { table.OnSessionOpened(peer, SOFTBUS_OK); });
        }
        if (opens) {
            Post([opener, result = openedResult.load()](auto& table) { table.OnSessionOpened(opener, result); });
        }
        return opener;
    }
    void CloseSession(int sessionId) override
    {
        const MutexLock lock(mutex_);
        if (const auto other = Forget(sessionId)) {
            Post([id = *other](auto& table) { table.OnSessionClosed(id); });
        }
    }
    int SendBytes(int sessionId, const void* data, unsigned int len) override
    {
        const MutexLock lock(mutex_);
        const auto found = others_.find(sessionId);
        if (found == others_.end()) {
            return SOFTBUS_NO_SUCH_SESSION;
        }
        if (delivers) {
            Deliver(found->second, std::string(static_cast<const char*>(data), len));
        }
        return SOFTBUS_OK;
    }
    int GetPeerNetworkId(int sessionId, std::string& networkId) override
    {
        const MutexLock lock(mutex_);
        networkId = PEER;
        return others_.contains(sessionId) ? SOFTBUS_OK : SOFTBUS_NO_SUCH_SESSION;
    }
    std::vector<SoftBus::Node> Nodes() override { return {}; }
    SoftBus::Node LocalNode() override { return {}; }

    // The other side of a session; 0 once it is closed.
    int Other(int sessionId) const
    {
        const MutexLock lock(mutex_);
        const auto found = others_.find(sessionId);
        return found == others_.end() ? 0 : found->second;
    }
    // Bytes that the framework never sends, as from the peer.
    void Inject(int sessionId, const std::string& bytes)
    {
        const MutexLock lock(mutex_);
        Deliver(sessionId, bytes);
    }
    // The link breaks: both sides hear of it, or, when unnoticed, neither.
    void Break(int sessionId, bool unnoticed = false)
    {
        const MutexLock lock(mutex_);
        const auto other = Forget(sessionId);
        if (other && !unnoticed) {
            Post([sessionId](auto& table) { table.OnSessionClosed(sessionId); });
            Post([id = *other](auto& table) { table.OnSessionClosed(id); });
        }
    }
    void Drain() { strand_.Drain(); }

private:
    std::optional<int> Forget(int sessionId) REQUIRES(mutex_)
    {
        const auto found = others_.find(sessionId);
        if (found == others_.end()) {
            return std::nullopt;
        }
        const int other = found->second;
        others_.erase(found);
        others_.erase(other);
        return other;
    }
    void Deliver(int sessionId, std::string bytes) REQUIRES(mutex_)
    {
        Post([sessionId, bytes = std::move(bytes)](auto& table) {
            table.OnBytesReceived(sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
        });
    }
    template <typename Call>
    void Post(Call call) REQUIRES(mutex_)
    {
        strand_.Post([table = listener_, call = std::move(call)] { call(table); });
    }

    mutable Mutex mutex_;
    ISessionListener listener_ GUARDED_BY(mutex_){};
    std::map<int, int> others_ GUARDED_BY(mutex_);
    int lastId_ GUARDED_BY(mutex_) = 0;
    Tasks::Strand strand_;
};

}  // namespace Vexo::Tests
