// Sessions: the reactor's half of sessions: opens them over the links that the opener named, answers peers that open
// them, moves frames between links and callbacks, and detects silent peers. The part that callers use: session_table.h.
// Used on the reactor thread, except for the counts, which any thread may read. No call blocks. Timers run only while a
// session opens or is open.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/peer_policy.h"
#include "platform/softbus/reactor_context.h"
#include "platform/softbus/sessions/session_table.h"

namespace Vexo::SoftBus {

// From the start of an open to its result. A little more than ACCEPT_WAIT, so that the peer's answer comes first.
inline constexpr std::chrono::milliseconds OPEN_LIMIT{6000};
// The same when a channel seeks the peer.
inline constexpr std::chrono::milliseconds SEEKING_OPEN_LIMIT{9000};
// How long an open waits for this side's session server to appear.
inline constexpr std::chrono::milliseconds OWN_SERVER_WAIT{10'000};
// How long a peer's open waits for the session server that it asks for.
inline constexpr std::chrono::milliseconds ACCEPT_WAIT{5000};
// The opened callback comes at least this long after OpenSession returned, so that its caller can note the id first.
inline constexpr std::chrono::microseconds OPENED_DELAY{1100};
// A side that has sent nothing for this long sends PING; one that has heard nothing for SILENCE_LIMIT takes the peer
// for gone.
inline constexpr std::chrono::milliseconds PING_PAUSE{2000};
inline constexpr std::chrono::milliseconds SILENCE_LIMIT{6000};

class Sessions : public NoCopyable {
public:
    Sessions(ReactorContext& context, std::shared_ptr<SessionTable> table);
    ~Sessions();

    void Open(const SessionPtr& session);
    // The caller has taken the session out of the table.
    void Close(const SessionPtr& session);
    // A session server was created: opens that waited for it go on.
    void ServerAppeared(const std::string& name);
    // A link that another device opened, and its first frame.
    void AdoptInbound(const std::shared_ptr<Link>& link, const std::string& open);
    // Ends sessions with devices that are no members of the account any more.
    void EndRemoved();
    // Fails what is opening, closes what is open.
    void Stop();

    size_t OpenCount() const { return openCount_.load(); }
    size_t PendingCount() const { return pendingCount_.load(); }

private:
    class SessionLink;
    class WaitingPeer;
    friend class SessionLink;
    friend class WaitingPeer;

    size_t CountOpenedBy(const std::string& peerNetworkId) const;
    // The policy's answer for a device that uses that session server; a refusal is logged.
    PeerRefusal AskPolicy(const std::string& peerNetworkId, const std::string& serverName);
    void Accept(const std::shared_ptr<Link>& link, const struct Open& open, std::shared_ptr<SessionServer> server);
    void CountPending() { pendingCount_ = links_.size() + waitingPeers_.size() - openCount_.load(); }

    ReactorContext& context_;
    const std::shared_ptr<SessionTable> table_;
    std::map<int, std::shared_ptr<SessionLink>> links_;  // by session id
    std::set<std::shared_ptr<WaitingPeer>> waitingPeers_;
    QuviewDFX::LogLimit<std::string> refusalLines_;  // by network id
    std::atomic<size_t> openCount_{0};
    std::atomic<size_t> pendingCount_{0};
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
