#include "platform/softbus/sessions/sessions.h"

#include <algorithm>

#include "platform/base/check.h"
#include "platform/base/text.h"
#include "platform/softbus/peer_policy.h"
#include "platform/softbus/sessions/session_link.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

void RefuseOpen(const std::shared_ptr<Link>& link, SoftBusResult result, const char* why)
{
    QuviewDFX::LogWarn(LOG_SOFTBUS, "a session from %{public}s is refused: %{public}s", ShortId(link->PeerNetworkId()),
                       why);
    link->Send(FrameKind::OPENED, EncodeOpened(result));
    link->Close();
}

}  // namespace

Sessions::Sessions(ReactorContext& context, std::shared_ptr<SessionTable> table)
    : context_(context), table_(std::move(table))
{
}

Sessions::~Sessions() = default;

void Sessions::Open(const SessionPtr& session)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const auto link = std::make_shared<SessionLink>(*this, session);
    links_.emplace(session->Id(), link);
    CountPending();
    link->Open();
    if (stopped_) {
        link->Close(SOFTBUS_UNAVAILABLE);
    }
}

void Sessions::Close(const SessionPtr& session)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const auto found = links_.find(session->Id());
    if (found != links_.end()) {
        const auto link = found->second;
        link->Close(SOFTBUS_NO_SUCH_SESSION);
    }
}

void Sessions::ServerAppeared(const std::string& name)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    for (const auto& [id, link] : std::map<int, std::shared_ptr<SessionLink>>(links_)) {
        link->ServerAppeared();
    }
    for (const auto& peer : std::set<std::shared_ptr<WaitingPeer>>(waitingPeers_)) {
        if (peer->ServerName() == name) {
            peer->ServerAppeared();
        }
    }
}

void Sessions::AdoptInbound(const std::shared_ptr<Link>& link, const std::string& payload)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const Result<struct Open> open = DecodeOpen(payload);
    if (!open) {
        link->Refuse(open.error().message);
        return;
    }
    if (CountOpenedBy(link->PeerNetworkId()) >= context_.peerShare) {
        RefuseOpen(link, SOFTBUS_PEER_SHARE, "that device has its maximum of sessions open");
        return;
    }
    // Ask the policy before the wait for the session server, so that a refusal is sent at once.
    const PeerRefusal refusal = AskPolicy(link->PeerNetworkId(), open.value().serverName);
    if (refusal != PeerRefusal::NONE) {
        link->Send(FrameKind::OPENED, EncodeOpened(static_cast<int32_t>(refusal)));
        link->Close();
        return;
    }
    const auto waiting = std::make_shared<WaitingPeer>(*this, link, open.value());
    waitingPeers_.insert(waiting);
    CountPending();
    waiting->Start();
    if (stopped_) {
        waiting->Refuse(SOFTBUS_UNAVAILABLE);
    } else {
        waiting->ServerAppeared();
    }
}

// Returns how many sessions the peer has opened, including those that wait for a session server.
size_t Sessions::CountOpenedBy(const std::string& peerNetworkId) const
{
    const auto waiting = std::count_if(waitingPeers_.begin(), waitingPeers_.end(),
                                       [&](const auto& peer) { return peer->PeerNetworkId() == peerNetworkId; });
    return table_->InboundCount(peerNetworkId) + static_cast<size_t>(waiting);
}

PeerRefusal Sessions::AskPolicy(const std::string& peerNetworkId, const std::string& serverName)
{
    if (context_.policy == nullptr || context_.openSessions.contains(serverName) ||
        !context_.account.IsMember(peerNetworkId)) {
        return PeerRefusal::NONE;  // Accept refuses a device that is not a member of the account
    }
    const PeerRefusal refusal = context_.policy->Admit(peerNetworkId);
    const auto leftOut = refusal != PeerRefusal::NONE ? refusalLines_.Admit(peerNetworkId) : std::nullopt;
    if (leftOut) {
        QuviewDFX::LogInfo(LOG_SOFTBUS,
                           "a session from %{public}s is refused by the owner's rules: %{public}s%{public}s",
                           ShortId(peerNetworkId), NameOf(PEER_REFUSAL_NAMES, refusal), *leftOut);
    }
    return refusal;
}

bool Sessions::MayDeliver(const SessionRequest& request, std::string_view message)
{
    const bool isAnswer = request.outbound && (context_.policy == nullptr || !context_.policy->IsRequest(message));
    return isAnswer || AskPolicy(request.peerNetworkId, request.serverName) == PeerRefusal::NONE;
}

void Sessions::Accept(const std::shared_ptr<Link>& link, const struct Open& open, std::shared_ptr<SessionServer> server)
{
    if (!context_.account.IsMember(link->PeerNetworkId())) {
        RefuseOpen(link, SOFTBUS_UNAVAILABLE, "that device is not a member of the account");
        return;
    }
    const SessionPtr session =
        table_->Add({false, open.serverName, open.openerName, link->PeerNetworkId(), open.dataType, {}});
    if (!session) {
        RefuseOpen(link, SOFTBUS_LIMIT, "too many are open");
        return;
    }
    const auto sessionLink = std::make_shared<SessionLink>(*this, session);
    links_.emplace(session->Id(), sessionLink);
    sessionLink->Accept(link, std::move(server));
}

void Sessions::EndRemoved()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    for (const auto& [id, link] : std::map<int, std::shared_ptr<SessionLink>>(links_)) {
        link->EndIfRemoved();
    }
}

void Sessions::Stop()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    stopped_ = true;
    for (const SessionPtr& session : table_->List()) {
        session->StopCallbacks();
        session->SetClosed();
        table_->Remove(session->Id());
    }
    for (const auto& [id, link] : std::map<int, std::shared_ptr<SessionLink>>(links_)) {
        link->Close(SOFTBUS_UNAVAILABLE);
    }
    for (const auto& peer : std::set<std::shared_ptr<WaitingPeer>>(waitingPeers_)) {
        peer->Refuse(SOFTBUS_UNAVAILABLE);
    }
}

}  // namespace Vexo::SoftBus
