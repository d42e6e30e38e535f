#include "platform/softbus/inbound_links.h"

#include "platform/base/check.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

class InboundLinks::Greeter : public LinkOwner, public std::enable_shared_from_this<Greeter> {
public:
    Greeter(InboundLinks& inbound, std::shared_ptr<Link> link, PeerAddress from)
        : inbound_(inbound), link_(std::move(link)), from_(std::move(from))
    {
    }

    void OnFrame(FrameKind kind, std::string payload) override
    {
        const auto self = shared_from_this();
        if (kind == FrameKind::HELLO) {
            inbound_.presence_.AdoptInbound(link_, payload, from_);
        } else if (kind == FrameKind::OPEN) {
            inbound_.sessions_.AdoptInbound(link_, payload);
        } else {
            link_->Refuse("the first frame is neither HELLO nor OPEN");
            return;
        }
        inbound_.Finished(self);
    }

    void OnEnded(LinkEnd end, const std::string& why) override
    {
        if (end == LinkEnd::REFUSED || end == LinkEnd::TIMED_OUT) {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "a link from %{public}s was refused: %{public}s", from_.address, why);
        }
        inbound_.Finished(shared_from_this());
    }

    const std::shared_ptr<Link>& GetLink() const { return link_; }

private:
    InboundLinks& inbound_;
    const std::shared_ptr<Link> link_;
    const PeerAddress from_;
};

InboundLinks::~InboundLinks() = default;

void InboundLinks::Accepted(UniqueFd stream, PeerAddress from)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    if (stopped_) {
        return;
    }
    if (greeters_.size() < MAX_HANDSHAKES) {
        Start(std::move(stream), from);
    } else if (waiting_.size() < MAX_WAITING_STREAMS) {
        waiting_.push_back({std::move(stream), std::move(from)});
    } else {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "a link from %{public}s was closed: too many handshakes", from.address);
    }
}

void InboundLinks::Start(UniqueFd stream, const PeerAddress& from)
{
    const auto link = context_.MakeLink(std::move(stream), Link::Role::SERVER, {});
    if (!link) {
        QuviewDFX::LogError(LOG_SOFTBUS, "a link from %{public}s was closed: not enough memory", from.address);
        return;
    }
    const auto greeter = std::make_shared<Greeter>(*this, link, from);
    greeters_.insert(greeter);
    link->Start(greeter);
}

void InboundLinks::Finished(const std::shared_ptr<Greeter>& greeter)
{
    greeters_.erase(greeter);
    while (!stopped_ && !waiting_.empty() && greeters_.size() < MAX_HANDSHAKES) {
        Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        Start(std::move(next.stream), next.from);
    }
}

void InboundLinks::Stop()
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    stopped_ = true;
    waiting_.clear();
    for (const auto& greeter : greeters_) {
        greeter->GetLink()->Abort();
    }
    greeters_.clear();
}

}  // namespace Vexo::SoftBus
