#include "platform/softbus/inbound_links.h"

#include <algorithm>

#include "platform/base/check.h"
#include "platform/softbus/discovery/hello.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

class InboundLinks::Greeter : public LinkOwner, public std::enable_shared_from_this<Greeter> {
public:
    Greeter(InboundLinks& inbound, std::shared_ptr<Link> link, PeerAddress from, std::string source)
        : inbound_(inbound), link_(std::move(link)), from_(std::move(from)), source_(std::move(source))
    {
    }

    void OnReady() override { inbound_.AdmissionOf(from_).AddMemberSource(source_); }

    void OnFrame(FrameKind kind, std::string payload) override
    {
        if (!hasGreeted_) {
            OnFirstFrame(kind, payload);
        } else if (hasSentGoodbye_ || pendingOpen_) {
            link_->Refuse("a frame after GOODBYE or OPEN");
        } else if (kind == FrameKind::OPEN && awaitsState_) {
            pendingOpen_ = std::move(payload);
        } else if (kind == FrameKind::OPEN) {
            Open(payload);
        } else if (kind == FrameKind::GOODBYE) {
            hasSentGoodbye_ = true;
            MarkAway(inbound_.context_, link_->PeerNetworkId(), {});
        } else {
            link_->Refuse("only OPEN, GOODBYE or CLOSE may follow HELLO");
        }
    }

    void OnStateHandled() override
    {
        if (link_->IsOfEarlierKeys(inbound_.context_.linkSetup)) {
            Leave();  // the other device connects again with the current link key
        } else if (!inbound_.context_.account.IsMember(link_->PeerNetworkId())) {
            inbound_.AdmissionOf(from_).LogRefusal(source_, "it is not a member of the account");
            Leave();
        } else if (std::exchange(awaitsState_, false) && pendingOpen_) {
            Open(*pendingOpen_);
        }
    }

    void OnEnded(LinkEnd end, const std::string& why) override
    {
        if (end == LinkEnd::REFUSED || end == LinkEnd::TIMED_OUT) {
            inbound_.AdmissionOf(from_).LogRefusal(source_, why);
            inbound_.refused_.emplace_back(source_, link_);
        }
        inbound_.greeters_.erase(shared_from_this());
    }

    const std::shared_ptr<Link>& GetLink() const { return link_; }
    const std::string& Source() const { return source_; }

private:
    void OnFirstFrame(FrameKind kind, const std::string& payload)
    {
        const auto self = shared_from_this();
        if (link_->PeerNetworkId() == inbound_.context_.ownNetworkId) {
            link_->Abort();
            inbound_.greeters_.erase(self);
        } else if (kind != FrameKind::HELLO) {
            link_->Refuse("its first frame is not HELLO");
        } else if (const auto standing = OnHello(inbound_.context_, *link_, payload, from_)) {
            hasGreeted_ = true;
            awaitsState_ = standing->verdict == Standing::Verdict::AWAIT_STATE;
            if (standing->verdict == Standing::Verdict::LEAVE) {
                Leave();
            }
        }
    }

    void Open(const std::string& payload)
    {
        const auto self = shared_from_this();
        inbound_.greeters_.erase(self);
        inbound_.sessions_.AdoptInbound(link_, payload);
    }

    void Leave()
    {
        const auto self = shared_from_this();
        inbound_.greeters_.erase(self);
        link_->Close();
    }

    InboundLinks& inbound_;
    const std::shared_ptr<Link> link_;
    const PeerAddress from_;
    const std::string source_;
    bool hasGreeted_ = false;
    bool hasSentGoodbye_ = false;
    bool awaitsState_ = false;                // the device is not a member yet, and this side waits for its STATE
    std::optional<std::string> pendingOpen_;  // the device's OPEN, kept until its STATE is handled
};

InboundLinks::InboundLinks(ReactorContext& context, Sessions& sessions, Invitations& invitations)
    : context_(context), sessions_(sessions), invitations_(invitations)
{
}

InboundLinks::~InboundLinks() = default;

std::string InboundLinks::SourceOf(const PeerAddress& from) const
{
    const Transport* transport = context_.FindTransport(from.transport);
    return transport != nullptr ? transport->SourceOf(from.address) : from.address;
}

void InboundLinks::Accepted(Stream stream, const PeerAddress& from)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    if (!stopped_) {
        AdmissionOf(from).Accept(std::move(stream), from, SourceOf(from));
    }
}

Admission& InboundLinks::AdmissionOf(const PeerAddress& from)
{
    const auto found = admissions_.find(from.transport);
    if (found != admissions_.end()) {
        return found->second;
    }
    const Transport* transport = context_.FindTransport(from.transport);
    return admissions_
        .try_emplace(
            from.transport, *context_.reactor,
            [this](std::string_view proof, std::string_view challenge, std::string_view firstMessage) {
                return KeyOfProof(proof, challenge, firstMessage);
            },
            transport != nullptr ? transport->LimitsOfAdmission() : AdmissionLimits(),
            [this](Stream stream, Trust::ProvenKey key, const std::string& firstMessage, const PeerAddress& where) {
                Proven(std::move(stream), key, firstMessage, where);
            })
        .first->second;
}

std::optional<Trust::ProvenKey> InboundLinks::KeyOfProof(std::string_view proof, std::string_view challenge,
                                                         std::string_view firstMessage)
{
    const auto key = context_.linkSetup.preamble->KeyOfProof(proof, challenge, firstMessage);
    return key || !invitations_.IsProof(proof, challenge, firstMessage) ? key : Trust::ProvenKey::TICKET;
}

void InboundLinks::Proven(Stream stream, Trust::ProvenKey key, const std::string& firstMessage, const PeerAddress& from)
{
    if (key == Trust::ProvenKey::TICKET) {
        invitations_.Accept(std::move(stream), firstMessage);
        return;
    }
    const std::string source = SourceOf(from);
    if (const std::string why = context_.account.OwnRemovalText(); !why.empty()) {
        AdmissionOf(from).LogRefusal(source, why);
        return;
    }
    refused_.remove_if([](const auto& refused) { return refused.second.expired(); });
    if (greeters_.size() + refused_.size() >= MAX_HANDSHAKES || CountOf(source) >= MAX_HANDSHAKES_OF_SOURCE) {
        AdmissionOf(from).LogRefusal(source, "too many handshakes");
        return;
    }
    const auto link = context_.MakeServerLink(std::move(stream), firstMessage, key);
    if (!link) {
        AdmissionOf(from).LogRefusal(source, "not enough memory");
        return;
    }
    const auto greeter = std::make_shared<Greeter>(*this, link, from, source);
    greeters_.insert(greeter);
    link->Start(greeter);
}

size_t InboundLinks::CountOf(const std::string& source)
{
    const auto greeting = std::count_if(greeters_.begin(), greeters_.end(),
                                        [&](const auto& greeter) { return greeter->Source() == source; });
    const auto refused =
        std::count_if(refused_.begin(), refused_.end(), [&](const auto& link) { return link.first == source; });
    return static_cast<size_t>(greeting + refused);
}

void InboundLinks::Stop()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    stopped_ = true;
    for (auto& [transport, admission] : admissions_) {
        admission.Stop();
    }
    for (const auto& greeter : greeters_) {
        greeter->GetLink()->Abort();
    }
    greeters_.clear();
}

}  // namespace Vexo::SoftBus
