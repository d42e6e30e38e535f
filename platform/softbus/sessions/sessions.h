// Sessions: the reactor's part of all sessions. It opens sessions over the requested link types, accepts sessions of
// peers, moves frames between links and callbacks, and detects silent peers. The part that callers use:
// session_table.h. Used on the reactor thread, except for the counts, which any thread may read. No call blocks. Timers
// run only while a session is opening or open.
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

// The time limit of an open. Longer than ACCEPT_WAIT, so that the peer's refusal arrives first.
inline constexpr std::chrono::milliseconds OPEN_LIMIT{6000};
// The time limit of an open while a channel seeks the peer.
inline constexpr std::chrono::milliseconds SEEKING_OPEN_LIMIT{9000};
// How long an open waits for this side's session server to appear.
inline constexpr std::chrono::milliseconds OWN_SERVER_WAIT{10'000};
// How long a peer's open waits for the session server that it asks for.
inline constexpr std::chrono::milliseconds ACCEPT_WAIT{5000};
// The opened callback runs at least this long after OpenSession returned, so that the caller can store the id first.
inline constexpr std::chrono::microseconds OPENED_DELAY{1100};
// A side that has sent nothing for PING_PAUSE sends PING. A side that has received nothing for SILENCE_LIMIT closes the
// session.
inline constexpr std::chrono::milliseconds PING_PAUSE{2000};
inline constexpr std::chrono::milliseconds SILENCE_LIMIT{6000};

class Sessions : public NoCopyable {
public:
    Sessions(ReactorContext& context, std::shared_ptr<SessionTable> table);
    ~Sessions();

    void Open(const SessionPtr& session);
    // Call after the session was removed from the table.
    void Close(const SessionPtr& session);
    // Call when a session server was created: continues the opens that wait for it.
    void ServerAppeared(const std::string& name);
    // Call when the peer of an inbound link has sent OPEN. open: the payload of that frame.
    void AdoptInbound(const std::shared_ptr<Link>& link, const std::string& open);
    // Ends the sessions with devices that are no longer members of the account.
    void EndRemoved();
    // Fails sessions that are opening, and closes open ones.
    void Stop();

    size_t OpenCount() const { return openCount_.load(); }
    size_t PendingCount() const { return pendingCount_.load(); }

private:
    class SessionLink;
    class WaitingPeer;
    friend class SessionLink;
    friend class WaitingPeer;

    size_t CountOpenedBy(const std::string& peerNetworkId) const;
    // Asks the policy whether the device may use that session server. A refusal is logged.
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
