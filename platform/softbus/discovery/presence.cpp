#include "platform/softbus/discovery/presence.h"

#include <algorithm>
#include <asio/steady_timer.hpp>

#include "platform/base/check.h"
#include "platform/base/text.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

constexpr std::chrono::milliseconds CONNECT_LIMIT{5000};

}  // namespace

// A place where a device may be reached.
struct Presence::Candidate {
    Candidate(asio::io_context& reactor, PeerAddress place, std::string id)
        : where(std::move(place)), networkId(std::move(id)), timer(reactor)
    {
    }

    const PeerAddress where;
    const std::string networkId;  // who must answer; empty for an address from the configuration
    asio::steady_timer timer;
    std::chrono::milliseconds pause{0};
    bool busy = false;              // connecting, or connected
    bool once = false;              // forgotten when it fails or its connection ends
    std::vector<PeerAddress> next;  // dialled one after the other when this fails
    bool dropped = false;           // withdrawn, or found to be this device itself
    bool reported = false;          // its failure has been logged
    std::string rescueFor;          // the device that goes offline if this fails
};

class Presence::PresenceLink : public LinkOwner, public std::enable_shared_from_this<PresenceLink> {
public:
    PresenceLink(Presence& presence, std::shared_ptr<Link> link, CandidatePtr candidate, PeerAddress from)
        : presence_(presence), link_(std::move(link)), candidate_(std::move(candidate)), from_(std::move(from))
    {
    }

    void OnReady() override
    {
        if (link_->PeerNetworkId() == presence_.context_.ownNetworkId) {
            // One of the addresses leads back here. It always will.
            presence_.Drop(candidate_);
            link_->Abort();
            presence_.links_.erase(shared_from_this());
            return;
        }
        link_->Send(FrameKind::HELLO, presence_.OwnHello());
    }

    void OnFrame(FrameKind kind, std::string payload) override
    {
        if (kind == FrameKind::HELLO && !known_) {
            known_ = presence_.Known(shared_from_this(), payload);
        } else if (kind != FrameKind::PING) {
            link_->Refuse("a frame that has no place in a presence connection");
        }
    }

    void OnEnded(LinkEnd end, const std::string& why) override { presence_.Lost(shared_from_this(), end, why); }

    Presence& presence_;
    const std::shared_ptr<Link> link_;
    const CandidatePtr candidate_;  // null for one that the other device opened
    const PeerAddress from_;
    bool known_ = false;  // HELLO has come
};

Presence::~Presence() = default;

// --- candidates ---

void Presence::AddConfigured(const PeerAddress& where)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const auto& own = context_.ownHello.addresses;
    if (std::find(own.begin(), own.end(), where) == own.end() && !FindCandidate(where, {})) {
        DialNow(AddCandidate(where, {}));
    }
}

void Presence::SetAnnounced(const std::string& networkId, const std::optional<PeerAddress>& where)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    if (stopped_ || networkId == context_.ownNetworkId) {
        return;
    }
    const auto old = std::find_if(candidates_.begin(), candidates_.end(), [&networkId](const CandidatePtr& candidate) {
        return candidate->networkId == networkId && !candidate->once;
    });
    if (old != candidates_.end() && (!where || (*old)->where != *where)) {
        Drop(*old);
    }
    if (!where) {
        return;
    }
    const Transport* transport = context_.FindTransport(where->transport);
    const Result<void> usable =
        transport != nullptr
            ? transport->CheckAddress(where->address)
            : Result<void>(Fail(ErrorCode::UNAVAILABLE, "no transport \"" + where->transport + "\" here"));
    if (!usable) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "announcement of %{public}s ignored: %{public}s", ShortId(networkId),
                           usable.error().message);
        return;
    }
    const CandidatePtr known = FindCandidate(*where, networkId);
    const CandidatePtr candidate = known ? known : AddCandidate(*where, networkId);
    candidate->once = false;
    DialNow(candidate);
}

void Presence::DialKnownDevices()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    for (const Node& node : context_.devices.List()) {
        DialOnce(node.networkId, context_.devices.Addresses(node.networkId));
    }
}

// Dials the first of the addresses that is not being dialled already, and after a failure those that follow.
void Presence::DialOnce(const std::string& networkId, const std::vector<PeerAddress>& addresses)
{
    const auto first = std::find_if(addresses.begin(), addresses.end(),
                                    [&](const PeerAddress& address) { return !FindCandidate(address, networkId); });
    if (stopped_ || first == addresses.end() || context_.devices.IsOnline(networkId)) {
        return;
    }
    const CandidatePtr candidate = AddCandidate(*first, networkId);
    candidate->once = true;
    candidate->next.assign(first + 1, addresses.end());
    DialNow(candidate);
}

Presence::CandidatePtr Presence::AddCandidate(const PeerAddress& where, const std::string& networkId)
{
    return *candidates_.insert(std::make_shared<Candidate>(*context_.reactor, where, networkId)).first;
}

Presence::CandidatePtr Presence::FindCandidate(const PeerAddress& where, const std::string& networkId) const
{
    const auto found = std::find_if(candidates_.begin(), candidates_.end(), [&](const CandidatePtr& c) {
        return c->where == where && (!c->once || c->networkId == networkId);
    });
    return found == candidates_.end() ? nullptr : *found;
}

void Presence::Drop(const CandidatePtr& candidate)
{
    if (!candidate) {
        return;
    }
    candidate->dropped = true;
    candidate->timer.cancel();
    if (!candidate->rescueFor.empty()) {
        GoOffline(std::exchange(candidate->rescueFor, {}));
    }
    candidates_.erase(CandidatePtr(candidate));
}

void Presence::Dial(const CandidatePtr& candidate)
{
    if (stopped_ || candidate->dropped || candidate->busy) {
        return;
    }
    Transport* transport = context_.FindTransport(candidate->where.transport);
    if (transport == nullptr) {
        DialFailed(candidate, false, "no such transport");
        return;
    }
    candidate->busy = true;
    transport->Connect(candidate->where.address, CONNECT_LIMIT, [this, candidate](Result<UniqueFd> stream) {
        if (stopped_ || candidate->dropped) {
            return;
        }
        if (!stream) {
            DialFailed(candidate, false, stream.error().message);
            return;
        }
        const auto link = context_.MakeClientLink(std::move(stream.value()), candidate->networkId);
        if (!link) {
            DialFailed(candidate, false, "not enough memory");
            return;
        }
        const auto presenceLink = std::make_shared<PresenceLink>(*this, link, candidate, candidate->where);
        links_.insert(presenceLink);
        link->Start(presenceLink);
    });
}

void Presence::DialNow(const CandidatePtr& candidate)
{
    candidate->timer.cancel();
    candidate->pause = {};
    Dial(candidate);
}

void Presence::DialLater(const CandidatePtr& candidate)
{
    candidate->timer.expires_after(candidate->pause);
    candidate->timer.async_wait([this, candidate](const asio::error_code& error) {
        if (!error) {
            Dial(candidate);
        }
    });
}

void Presence::DialFailed(const CandidatePtr& candidate, bool refused, const std::string& why)
{
    candidate->busy = false;
    const std::string rescueFor = std::exchange(candidate->rescueFor, {});
    if (candidate->once) {
        Drop(candidate);
        DialOnce(candidate->networkId, candidate->next);
    } else if (!candidate->dropped) {
        if (!candidate->reported) {
            candidate->reported = true;
            QuviewDFX::LogInfo(LOG_SOFTBUS, "no device of this account at %{public}s yet: %{public}s",
                               candidate->where.address, why);
        }
        const auto first = refused ? FIRST_STRANGER_PAUSE : FIRST_RETRY_PAUSE;
        const auto last = refused ? LAST_STRANGER_PAUSE : LAST_RETRY_PAUSE;
        candidate->pause = std::clamp(2 * candidate->pause, first, last);
        DialLater(candidate);
    }
    if (!rescueFor.empty()) {
        GoOffline(rescueFor);
    }
}

// --- devices ---

void Presence::AdoptInbound(const std::shared_ptr<Link>& link, const std::string& hello, const PeerAddress& from)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    if (stopped_ || link->PeerNetworkId() == context_.ownNetworkId) {
        link->Abort();
        return;
    }
    const auto presenceLink = std::make_shared<PresenceLink>(*this, link, nullptr, from);
    links_.insert(presenceLink);
    link->SetOwner(presenceLink);
    link->Send(FrameKind::HELLO, OwnHello());
    presenceLink->OnFrame(FrameKind::HELLO, hello);
}

std::string Presence::OwnHello() const
{
    Hello hello = context_.ownHello;
    hello.clockMs = WallClockMs();
    return EncodeHello(hello);
}

// False when the HELLO is damaged; the link has ended then.
bool Presence::Known(const LinkPtr& link, const std::string& payload)
{
    Result<Hello> hello = DecodeHello(payload);
    if (!hello) {
        link->link_->Refuse(hello.error().message);
        return false;
    }
    std::vector<PeerAddress> addresses;
    if (link->candidate_) {
        addresses.push_back(link->from_);
    }
    for (PeerAddress& address : hello.value().addresses) {
        const Transport* transport = context_.FindTransport(address.transport);
        if (transport == nullptr) {
            continue;
        }
        if (address.transport == link->from_.transport) {
            address.address = transport->Reachable(address.address, link->from_.address);
        }
        const bool isUsable = transport->CheckAddress(address.address).has_value();
        if (isUsable && std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
            addresses.push_back(address);
        }
    }
    hello.value().addresses = std::move(addresses);
    const std::string& networkId = link->link_->PeerNetworkId();
    link->link_->Established();
    ++linkCount_;
    if (context_.devices.LinkUp(networkId, hello.value(), link->from_.transport)) {
        QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s is online", ShortId(networkId));
        context_.NoteOnlineChanged();
    }
    if (link->candidate_) {
        link->candidate_->pause = {};
        link->candidate_->reported = false;
        link->candidate_->rescueFor.clear();
        return true;
    }
    // It is there: an address of it that waits for its next try need not wait.
    for (const CandidatePtr& candidate : std::set<CandidatePtr>(candidates_)) {
        const auto& known = hello.value().addresses;
        if (candidate->networkId == networkId ||
            std::find(known.begin(), known.end(), candidate->where) != known.end()) {
            DialNow(candidate);
        }
    }
    return true;
}

void Presence::Lost(const LinkPtr& link, LinkEnd end, const std::string& why)
{
    links_.erase(link);
    const CandidatePtr& candidate = link->candidate_;
    if (!link->known_) {
        if (candidate) {
            DialFailed(candidate, end == LinkEnd::REFUSED, why);
        }
        return;
    }
    --linkCount_;
    const std::string& networkId = link->link_->PeerNetworkId();
    const bool isLast = context_.devices.LinkDown(networkId) == 0;
    CandidatePtr again = candidate && !candidate->dropped && !candidate->once ? candidate : nullptr;
    if (candidate) {
        candidate->busy = false;
        Drop(again ? nullptr : candidate);
    }
    if (end == LinkEnd::CLOSED) {
        if (again) {
            again->pause = FIRST_RETRY_PAUSE;
            DialLater(again);
        }
        if (isLast) {
            GoOffline(networkId);
        }
        return;
    }
    if (isLast) {
        Rescue(networkId, again);
    } else if (again) {
        DialNow(again);
    }
}

void Presence::Rescue(const std::string& networkId, const CandidatePtr& candidate)
{
    CandidatePtr rescuer = candidate;
    if (!rescuer) {
        const std::vector<PeerAddress> addresses = context_.devices.Addresses(networkId);
        if (addresses.empty()) {
            GoOffline(networkId);
            return;
        }
        rescuer = AddCandidate(addresses.front(), networkId);
        rescuer->once = true;
    }
    rescuer->rescueFor = networkId;
    DialNow(rescuer);
}

void Presence::GoOffline(const std::string& networkId)
{
    if (context_.devices.MarkOffline(networkId)) {
        QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s went offline", ShortId(networkId));
        context_.NoteOnlineChanged();
    }
}

void Presence::Stop()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    stopped_ = true;
    for (const CandidatePtr& candidate : candidates_) {
        candidate->dropped = true;
        candidate->timer.cancel();
    }
    candidates_.clear();
    for (const LinkPtr& link : links_) {
        link->link_->Close();
    }
    links_.clear();
    linkCount_ = 0;
}

}  // namespace Vexo::SoftBus
