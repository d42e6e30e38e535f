#include "platform/softbus/sessions/session_link.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"
#include "platform/softbus/account/state_exchange.h"
#include "platform/softbus/discovery/hello.h"
#include "platform/softbus/discovery/route.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

// Returns the result for OnSessionOpened if the link ended before the peer answered.
int ResultOf(LinkEnd end)
{
    switch (end) {
        case LinkEnd::BROKEN:
            return SOFTBUS_NO_LINK;
        case LinkEnd::TIMED_OUT:
            return SOFTBUS_TIMED_OUT;
        case LinkEnd::CLOSED:
        case LinkEnd::REFUSED:
            break;
    }
    return SOFTBUS_PEER_REFUSED;
}

}  // namespace

Sessions::SessionLink::SessionLink(Sessions& sessions, SessionPtr session)
    : sessions_(sessions),
      session_(std::move(session)),
      timer_(*sessions.context_.reactor),
      paceTimer_(*sessions.context_.reactor)
{
}

// Starts timer_, and cancels the earlier wait of timer_. The earlier wait is not needed any more, because each stage of
// a session uses timer_ for one purpose only.
template <typename Action>
void Sessions::SessionLink::StartTimer(SteadyTime when, Action action)
{
    timer_.expires_at(when);
    timer_.async_wait([self = shared_from_this(), action](const asio::error_code& error) {
        if (!error && self->timer_.expiry() <= Clock::System().Now()) {
            action(*self);
        }
    });
}

// --- opening ---

void Sessions::SessionLink::Open()
{
    StartTimer(Clock::System().Now() + OWN_SERVER_WAIT, [](SessionLink& self) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "session %{public}d: no session server \"%{public}s\" appeared",
                           self.session_->Id(), self.session_->Request().serverName);
        self.sessions_.table_->Remove(self.session_->Id());
        self.Forget();
    });
    ServerAppeared();
}

void Sessions::SessionLink::ServerAppeared()
{
    if (stage_ != Stage::WAITS_FOR_SERVER) {
        return;
    }
    auto server = sessions_.table_->FindServer(session_->Request().serverName);
    if (!server) {
        return;
    }
    session_->SetServer(std::move(server));
    stage_ = Stage::OPENING;
    StartDial(OPEN_LIMIT, SEEKING_OPEN_LIMIT);
}

void Sessions::SessionLink::StartDial(std::chrono::milliseconds limit, std::chrono::milliseconds seekingLimit)
{
    const SessionRequest& request = session_->Request();
    const bool seeks = sessions_.context_.CanSeek(request.linkTypes);
    timer_.expires_at(SteadyTime::max());  // the dial has its own time limit
    dial_ = Dial::Start(sessions_.context_,
                        {request.peerNetworkId, request.peerNetworkId,
                         [&context = sessions_.context_, request] {
                             return RoutesTo(context, request.peerNetworkId, request.linkTypes);
                         },
                         limit, seeks ? std::optional(seekingLimit) : std::nullopt},
                        [self = shared_from_this()](const DialResult& result) { self->OnDialEnded(result); });
}

void Sessions::SessionLink::OnDialEnded(const DialResult& result)
{
    const SessionRequest& request = session_->Request();
    dial_.reset();
    if (!result.link) {
        QuviewDFX::LogInfo(LOG_SOFTBUS, "session %{public}d: %{public}s is not reached: %{public}s", session_->Id(),
                           ShortId(request.peerNetworkId), result.why);
        if (result.wasTried && result.end != LinkEnd::REFUSED) {
            MarkAway(sessions_.context_, request.peerNetworkId, result.took);
        }
        ReportResult(ResultOf(result.end));
        return;
    }
    link_ = result.link;
    where_ = result.where;
    deadline_ = result.deadline;
    link_->SetOwner(shared_from_this());
    // From now on the time limit of the whole open applies instead of HANDSHAKE_LIMIT, because the peer may wait for
    // its session server.
    link_->Established();
    StartTimer(result.deadline, [](SessionLink& self) { self.ReportResult(SOFTBUS_TIMED_OUT); });
    link_->Send(FrameKind::OPEN, EncodeOpen({request.dataType, request.peerServerName, request.serverName}));
}

void Sessions::SessionLink::OnOpened(const std::string& payload)
{
    const Result<int32_t> result = DecodeOpened(payload);
    if (!result) {
        link_->Refuse(result.error().message);
    } else if (result.value() == SOFTBUS_OK) {
        ReportResult(SOFTBUS_OK);
    } else {
        const PeerRefusal refusal = PeerRefusalOf(result.value());
        if (refusal != PeerRefusal::NONE && sessions_.context_.policy != nullptr) {
            sessions_.context_.policy->OnRefusedBy(session_->Request().peerNetworkId, refusal);
        }
        // If the peer cannot have more sessions, OnSessionOpened gets the peer's result. Otherwise OnSessionOpened gets
        // SOFTBUS_PEER_REFUSED.
        const bool isFull = result.value() == SOFTBUS_LIMIT || result.value() == SOFTBUS_PEER_SHARE;
        ReportResult(isFull ? result.value() : SOFTBUS_PEER_REFUSED);
    }
}

// Stores the result for OnSessionOpened, which DeliverResult calls later. Until then the link does not read, so the
// peer's data stays in the socket.
void Sessions::SessionLink::ReportResult(int result)
{
    if (stage_ != Stage::OPENING && stage_ != Stage::REPORTING) {
        return;
    }
    stage_ = Stage::REPORTING;
    result_ = result;
    EndDial();
    if (result != SOFTBUS_OK && link_) {
        link_->Close();
        link_.reset();
    }
    if (link_) {
        link_->PauseReading();
    }
    DeliverResult();
}

void Sessions::SessionLink::DeliverResult()
{
    const SteadyTime now = Clock::System().Now();
    const SteadyTime returned = session_->ReturnedAt();
    const SteadyTime earliest = (returned == SteadyTime::max() ? now : returned) + OPENED_DELAY;
    if (earliest > now) {
        StartTimer(earliest, [](SessionLink& self) { self.DeliverResult(); });
        return;
    }
    if (now < returned + CALLER_LIMIT && session_->IsCallerRunnable()) {
        StartTimer(now + OPENED_DELAY, [](SessionLink& self) { self.DeliverResult(); });
        return;
    }
    if (result_ == SOFTBUS_OK) {
        BeginOpen();
        link_->ResumeReading();
    } else {
        sessions_.table_->Remove(session_->Id());
        Forget();
        session_->DeliverOpened(result_);
    }
}

void Sessions::SessionLink::Accept(const std::shared_ptr<Link>& link, std::shared_ptr<SessionServer> server)
{
    session_->SetServer(std::move(server));
    link_ = link;
    link_->SetOwner(shared_from_this());
    link_->Established();
    link_->Send(FrameKind::OPENED, EncodeOpened(SOFTBUS_OK));
    BeginOpen();
}

// --- open ---

void Sessions::SessionLink::BeginOpen()
{
    stage_ = Stage::OPEN;
    ++sessions_.openCount_;
    sessions_.CountPending();
    session_->SetOpen(link_);
    session_->DeliverOpened(SOFTBUS_OK);
    KeepAlive();
}

void Sessions::SessionLink::OnFrame(FrameKind kind, std::string payload)
{
    if (stage_ == Stage::OPENING && kind == FrameKind::HELLO && !hasHello_) {
        const auto standing = OnHello(sessions_.context_, *link_, payload, where_);
        hasHello_ = standing.has_value();
        if (standing && standing->verdict != Standing::Verdict::TALK) {
            ReportResult(SOFTBUS_PEER_REFUSED);
        }
    } else if (stage_ == Stage::OPENING && kind == FrameKind::OPENED && hasHello_) {
        OnOpened(payload);
    } else if (stage_ == Stage::OPEN && kind == FrameKind::DATA) {
        OnData(std::move(payload));
    } else if (kind != FrameKind::PING) {
        link_->Refuse("an unexpected frame in a session");
    }
}

void Sessions::SessionLink::OnData(std::string payload)
{
    if (sessions_.MayDeliver(session_->Request(), payload)) {
        session_->DeliverBytes(std::move(payload), link_);
        if (sessions_.context_.limitsMessages) {
            Pace();
        }
        return;
    }
    const std::shared_ptr<Link> link = link_;
    OnEnded(LinkEnd::REFUSED, "the owner's rules refuse that device");
    link->Close();
}

// Counts a message. Pauses reading if the peer sends messages faster than allowed.
void Sessions::SessionLink::Pace()
{
    const SteadyTime now = Clock::System().Now();
    allowedSince_ = std::max(allowedSince_, now - MESSAGE_BURST * MESSAGE_INTERVAL) + MESSAGE_INTERVAL;
    if (allowedSince_ <= now) {
        return;
    }
    link_->PauseReading();
    paceTimer_.expires_after(MESSAGE_PAUSE);
    paceTimer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        // If HasRoom() is false, reading resumes when the callbacks have handled enough bytes.
        if (!error && self->link_ && self->session_->HasRoom()) {
            self->link_->ResumeReading();
        }
    });
}

// Sends PING if nothing was sent for PING_PAUSE. Ends the session if nothing was received for SILENCE_LIMIT. Both sides
// send PING. A peer whose callbacks are slow stops reading but still sends PING, so it does not count as silent.
void Sessions::SessionLink::KeepAlive()
{
    const SteadyTime now = Clock::System().Now();
    const std::string& peer = session_->Request().peerNetworkId;
    sessions_.context_.devices.RecordContact(peer, now - link_->LastReceived());
    sessions_.context_.UpdateReachability(peer);
    if (!link_->ReadingPaused() && now - link_->LastReceived() >= SILENCE_LIMIT) {
        const std::shared_ptr<Link> link = link_;
        OnEnded(LinkEnd::TIMED_OUT, "the peer fell silent");
        link->Abort();
        return;
    }
    SteadyTime nextPing = link_->LastSent() + PING_PAUSE;
    if (nextPing <= now) {
        if (link_->SendQueueEmpty()) {
            link_->Send(FrameKind::PING);
        }
        nextPing = now + PING_PAUSE;
    }
    const SteadyTime silentAt = link_->ReadingPaused() ? SteadyTime::max() : link_->LastReceived() + SILENCE_LIMIT;
    StartTimer(std::min(nextPing, silentAt), [](SessionLink& self) { self.KeepAlive(); });
}

// --- closing ---

void Sessions::SessionLink::Close(int resultIfOpening)
{
    if (stage_ == Stage::OPEN) {
        link_->Close();
        Forget();
    } else if (stage_ == Stage::WAITS_FOR_SERVER) {
        Forget();
    } else {
        ReportResult(stage_ == Stage::REPORTING && result_ != SOFTBUS_OK ? result_ : resultIfOpening);
    }
}

void Sessions::SessionLink::OnEnded(LinkEnd end, const std::string& why)
{
    if (stage_ == Stage::OPEN) {
        if (end != LinkEnd::CLOSED) {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "session %{public}d with %{public}s ended: %{public}s", session_->Id(),
                               ShortId(session_->Request().peerNetworkId), why);
        }
        session_->SetClosed();
        Forget();
        session_->DeliverClosed(sessions_.table_);
        return;
    }
    if (end == LinkEnd::CLOSED && DialAgain()) {
        return;
    }
    link_.reset();
    if (stage_ == Stage::OPENING) {
        QuviewDFX::LogInfo(LOG_SOFTBUS, "session %{public}d: %{public}s did not open: %{public}s", session_->Id(),
                           ShortId(session_->Request().peerNetworkId), why);
    }
    ReportResult(ResultOf(end));
}

// Call when the peer has closed the link while the session was opening. If this device uses an outdated link key, the
// peer sends its account state before the peer closes the link. In this case, the function dials again when this device
// has adopted that state, and returns true. Both dials together have one time limit. In any other case, returns false.
bool Sessions::SessionLink::DialAgain()
{
    StateExchange* const exchange = sessions_.context_.exchange;
    if (stage_ != Stage::OPENING || dialsAgain_ || exchange == nullptr ||
        !(exchange->IsAdopting() || link_->IsOfEarlierKeys(sessions_.context_.linkSetup))) {
        return false;
    }
    dialsAgain_ = true;
    hasHello_ = false;
    link_.reset();
    exchange->WhenAdopted([self = shared_from_this()] {
        if (self->stage_ == Stage::OPENING) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(self->deadline_ - Clock::System().Now());
            const auto limit = std::max(left, std::chrono::milliseconds(1));
            self->StartDial(limit, limit);
        }
    });
    return true;
}

void Sessions::SessionLink::EndIfRemoved()
{
    const std::string& peer = session_->Request().peerNetworkId;
    if (sessions_.context_.account.IsMember(peer) || stage_ == Stage::WAITS_FOR_SERVER) {
        return;
    }
    const auto link = link_;
    if (link) {
        link->Send(FrameKind::REMOVED, sessions_.context_.exchange->RemovalOf(peer));
    }
    if (stage_ == Stage::OPEN) {
        OnEnded(LinkEnd::REFUSED, "the account removed that device");
        link->Close();
    } else {
        Close(SOFTBUS_PEER_REFUSED);
    }
}

void Sessions::SessionLink::EndDial()
{
    if (const auto dial = std::exchange(dial_, nullptr)) {
        dial->Cancel();
    }
}

void Sessions::SessionLink::Forget()
{
    if (stage_ == Stage::OPEN) {
        --sessions_.openCount_;
    }
    stage_ = Stage::ENDED;
    EndDial();
    link_.reset();
    timer_.expires_at(SteadyTime::max());
    sessions_.links_.erase(session_->Id());
    sessions_.CountPending();
}

// --- WaitingPeer ---

Sessions::WaitingPeer::WaitingPeer(Sessions& sessions, std::shared_ptr<Link> link, struct Open open)
    : sessions_(sessions), link_(std::move(link)), open_(std::move(open)), timer_(*sessions.context_.reactor)
{
}

void Sessions::WaitingPeer::Start()
{
    link_->SetOwner(shared_from_this());
    link_->Established();
    timer_.expires_after(ACCEPT_WAIT);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (!error && self->sessions_.waitingPeers_.count(self) != 0) {
            self->Refuse(SOFTBUS_NO_SUCH_SERVER);
        }
    });
}

void Sessions::WaitingPeer::ServerAppeared()
{
    if (auto server = sessions_.table_->FindServer(open_.serverName)) {
        OnEnded(LinkEnd::CLOSED, {});
        sessions_.Accept(link_, open_, std::move(server));
    }
}

void Sessions::WaitingPeer::Refuse(int result)
{
    link_->Send(FrameKind::OPENED, EncodeOpened(result));
    link_->Close();
    OnEnded(LinkEnd::CLOSED, {});
}

void Sessions::WaitingPeer::OnFrame(FrameKind kind, std::string /*payload*/)
{
    if (kind != FrameKind::PING) {
        link_->Refuse("an unexpected frame before the session is open");
    }
}

void Sessions::WaitingPeer::OnEnded(LinkEnd /*end*/, const std::string& /*why*/)
{
    timer_.cancel();
    sessions_.waitingPeers_.erase(shared_from_this());
    sessions_.CountPending();
}

}  // namespace Vexo::SoftBus
