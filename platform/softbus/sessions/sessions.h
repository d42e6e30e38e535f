// Sessions: the part of all sessions that runs on the reactor thread. It opens sessions over the requested link types,
// and accepts sessions of peers. It moves messages between links and callbacks, and detects peers that have become
// silent. session_table.h is the part that callers of the soft bus use. Used on the reactor thread, but any thread may
// read the counts. No call blocks. Timers run only while a session is opening or open.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/peer_policy.h"
#include "platform/softbus/reactor_context.h"
#include "platform/softbus/sessions/session_table.h"

namespace Vexo::SoftBus {

// The time limit for opening a session. It is longer than ACCEPT_WAIT, so that the peer's refusal arrives before the
// time limit.
inline constexpr std::chrono::milliseconds OPEN_LIMIT{6000};
// The time limit for opening a session while an announcement channel seeks the peer (AnnouncementChannel::Seek).
inline constexpr std::chrono::milliseconds SEEKING_OPEN_LIMIT{9000};
// How long an outbound session waits until this side's session server exists.
inline constexpr std::chrono::milliseconds OWN_SERVER_WAIT{10'000};
// How long an inbound session waits for the session server that the peer has named.
inline constexpr std::chrono::milliseconds ACCEPT_WAIT{5000};
// OnSessionOpened runs at least OPENED_DELAY after OpenSession has returned, so that the caller can store the session
// id first. On a busy machine this time can pass before the caller's thread gets a processor. So OnSessionOpened also
// waits until that thread sleeps, but not longer than CALLER_LIMIT.
inline constexpr std::chrono::microseconds OPENED_DELAY{1100};
inline constexpr std::chrono::milliseconds CALLER_LIMIT{500};
// A side that has sent nothing for PING_PAUSE sends PING. A side that has received nothing for SILENCE_LIMIT closes the
// session.
inline constexpr std::chrono::milliseconds PING_PAUSE{2000};
inline constexpr std::chrono::milliseconds SILENCE_LIMIT{6000};
// A session delivers at most MESSAGE_BURST messages at once, and then one more each MESSAGE_INTERVAL. If the peer sends
// more, reading pauses for MESSAGE_PAUSE. Each message is work for the service. Without this limit, one peer could keep
// the processors busy.
inline constexpr int MESSAGE_BURST = 2048;
inline constexpr std::chrono::microseconds MESSAGE_INTERVAL{500};
inline constexpr std::chrono::milliseconds MESSAGE_PAUSE{20};

class Sessions : public NoCopyable {
public:
    Sessions(ReactorContext& context, std::shared_ptr<SessionTable> table);
    ~Sessions();

    void Open(const SessionPtr& session);
    // Call after the session was removed from the SessionTable.
    void Close(const SessionPtr& session);
    // Call when a session server was created. Continues the opening of the sessions that wait for this server.
    void ServerAppeared(const std::string& name);
    // Call when the peer of an inbound link has sent OPEN. open: the payload of the OPEN frame.
    void AdoptInbound(const std::shared_ptr<Link>& link, const std::string& open);
    // Ends the sessions with devices that are no longer members of the account.
    void EndRemoved();
    // Closes the open sessions. A session that is still opening ends with a failure.
    void Stop();

    size_t OpenCount() const { return openCount_.load(); }
    size_t PendingCount() const { return pendingCount_.load(); }

private:
    class SessionLink;
    class WaitingPeer;
    friend class SessionLink;
    friend class WaitingPeer;

    size_t CountOpenedBy(const std::string& peerNetworkId) const;
    // Asks the PeerPolicy whether the peer may use this session server. Logs a refusal.
    PeerRefusal AskPolicy(const std::string& peerNetworkId, const std::string& serverName);
    // Decides whether the session's callback receives a message from the peer. Asks the PeerPolicy for each message,
    // because the owner may have changed the rules since the session was opened.
    bool MayDeliver(const SessionRequest& request, std::string_view message);
    void Accept(const std::shared_ptr<Link>& link, const struct Open& open, std::shared_ptr<SessionServer> server);
    void CountPending() { pendingCount_ = links_.size() + waitingPeers_.size() - openCount_.load(); }

    ReactorContext& context_;
    const std::shared_ptr<SessionTable> table_;
    std::map<int, std::shared_ptr<SessionLink>> links_;  // key: the session id
    std::set<std::shared_ptr<WaitingPeer>> waitingPeers_;
    QuviewDFX::LogLimit<std::string> refusalLines_;  // key: the network id
    std::atomic<size_t> openCount_{0};
    std::atomic<size_t> pendingCount_{0};
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
