// SessionLink: the part of one session that runs on the reactor thread, from the request to the end of the session.
// WaitingPeer: an inbound link whose peer has sent OPEN for a session server that does not exist yet. Used on the
// reactor thread. Private to sessions.cpp and session_link.cpp.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/softbus/link/dial.h"
#include "platform/softbus/sessions/sessions.h"

namespace Vexo::SoftBus {

class Sessions::SessionLink : public LinkOwner, public std::enable_shared_from_this<SessionLink> {
public:
    SessionLink(Sessions& sessions, SessionPtr session);

    // Opens an outbound session as soon as this side's session server exists.
    void Open();
    void ServerAppeared();
    // Starts an inbound session: sends OPENED, and reports the session as open.
    void Accept(const std::shared_ptr<Link>& link, std::shared_ptr<SessionServer> server);
    // Closes the session from this side. If the session is still opening, OnSessionOpened gets the value
    // resultIfOpening.
    void Close(int resultIfOpening);
    // Ends the session if the other device is no longer a member of the account.
    void EndIfRemoved();

    void OnFrame(FrameKind kind, std::string payload) override;
    void OnEnded(LinkEnd end, const std::string& why) override;

private:
    enum class Stage {
        WAITS_FOR_SERVER,
        OPENING,
        REPORTING,  // the result is known; it is reported later (OPENED_DELAY)
        OPEN,
        ENDED,
    };

    void StartDial(std::chrono::milliseconds limit, std::chrono::milliseconds seekingLimit);
    void OnDialEnded(const DialResult& result);
    bool DialAgain();
    void OnOpened(const std::string& payload);
    void OnData(std::string payload);
    void Pace();
    void ReportResult(int result);
    void DeliverResult();
    void BeginOpen();
    void KeepAlive();
    void EndDial();
    void Forget();
    template <typename Action>
    void StartTimer(SteadyTime when, Action action);

    Sessions& sessions_;
    const SessionPtr session_;
    Stage stage_ = Stage::WAITS_FOR_SERVER;
    std::shared_ptr<Link> link_;
    asio::steady_timer timer_;
    asio::steady_timer paceTimer_;  // resumes reading from a peer that has sent too many messages
    SteadyTime allowedSince_{};  // each message moves this time by MESSAGE_INTERVAL; later than now: too many messages
    std::shared_ptr<Dial> dial_;
    // The next five members are used only if this side opens the session.
    PeerAddress where_;
    bool hasHello_ = false;    // HELLO of the other side was received
    bool dialsAgain_ = false;  // the first link used outdated link keys, so a second dial follows
    SteadyTime deadline_{};    // the time at which opening the session fails
    int result_ = SOFTBUS_NO_LINK;
};

class Sessions::WaitingPeer : public LinkOwner, public std::enable_shared_from_this<WaitingPeer> {
public:
    WaitingPeer(Sessions& sessions, std::shared_ptr<Link> link, struct Open open);

    void Start();
    void ServerAppeared();
    // Sends OPENED with the given result, and closes the link.
    void Refuse(int result);
    const std::string& ServerName() const { return open_.serverName; }
    const std::string& PeerNetworkId() const { return link_->PeerNetworkId(); }

    void OnFrame(FrameKind kind, std::string payload) override;
    void OnEnded(LinkEnd end, const std::string& why) override;

private:
    Sessions& sessions_;
    const std::shared_ptr<Link> link_;
    const struct Open open_;
    asio::steady_timer timer_;
};

}  // namespace Vexo::SoftBus
