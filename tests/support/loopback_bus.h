// LoopbackBus: a soft bus (ability 4700) on which this device is its own peer. Each open creates two sessions of the
// one session server, so that one object acts as both sides. The side that opens has an even session id. The session id
// of the other side is greater by one. Callbacks run one after another on one strand. Any thread may call it.
#pragma once

#include <atomic>
#include <mutex>
#include <set>
#include <string>

#include "platform/tasks/elastic_pool.h"
#include "tests/support/fake_soft_bus.h"

namespace Vexo::Tests {

class LoopbackBus : public FakeSoftBus {
public:
    inline static const std::string PEER = std::string(64, 'a');

    std::atomic<int> lastMute{0};  // bytes are lost in sessions with an id up to this value
    std::atomic<int> openings{0};

    int OpenSession(const std::string&, const std::string&, const std::string& networkId,
                    const SessionAttribute&) override
    {
        if (networkId != PEER) {
            return SOFTBUS_NO_SUCH_PEER;
        }
        const int opener = ++openings * 2;
        const std::lock_guard lock(mutex_);
        open_.insert({opener, opener + 1});
        for (const int side : {opener + 1, opener}) {
            strand_.Post([this, side] { listener.OnSessionOpened(side, SOFTBUS_OK); });
        }
        return opener;
    }
    void CloseSession(int sessionId) override
    {
        if (const int other = Break(sessionId)) {
            strand_.Post([this, other] { listener.OnSessionClosed(other); });
        }
    }
    int SendBytes(int sessionId, const void* data, unsigned int len) override
    {
        const int other = Other(sessionId);
        if (other != 0 && sessionId > lastMute) {
            Deliver(other, std::string(static_cast<const char*>(data), len));
        }
        return other != 0 ? SOFTBUS_OK : SOFTBUS_NO_SUCH_SESSION;
    }
    int GetPeerNetworkId(int sessionId, std::string& networkId) override
    {
        networkId = PEER;
        return Other(sessionId) != 0 ? SOFTBUS_OK : SOFTBUS_NO_SUCH_SESSION;
    }

    // Returns the session id of the other side, or 0 if the session is closed.
    int Other(int sessionId)
    {
        const std::lock_guard lock(mutex_);
        return open_.contains(sessionId) ? sessionId ^ 1 : 0;
    }
    void Deliver(int sessionId, const std::string& bytes)
    {
        strand_.Post([this, sessionId, bytes] {
            listener.OnBytesReceived(sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
        });
    }
    // Closes both sides of a session and calls no callback. Returns the session id of the other side.
    int Break(int sessionId)
    {
        const int other = Other(sessionId);
        const std::lock_guard lock(mutex_);
        open_.erase(sessionId);
        open_.erase(other);
        return other;
    }
    void Drain() { strand_.Drain(); }

private:
    std::mutex mutex_;
    std::set<int> open_;  // guarded by mutex_
    Tasks::Strand strand_;
};

}  // namespace Vexo::Tests
