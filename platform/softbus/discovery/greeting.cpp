#include "platform/softbus/discovery/greeting.h"

#include <utility>

#include "platform/softbus/discovery/hello.h"

namespace Vexo::SoftBus {

void Greeting::Start(DialRequest request)
{
    dial_ = Dial::Start(context_, std::move(request),
                        [self = shared_from_this()](const DialResult& result) { self->OnDialEnded(result); });
}

void Greeting::OnDialEnded(const DialResult& result)
{
    dial_.reset();
    if (!result.link) {
        Finish({false, result});
        return;
    }
    link_ = result.link;
    where_ = result.where;
    link_->SetOwner(shared_from_this());
    if (kind_ == GreetingKind::GOODBYE) {
        link_->Send(FrameKind::GOODBYE);
        Finish({true});
    }
}

void Greeting::OnFrame(FrameKind kind, std::string payload)
{
    if (kind != FrameKind::HELLO || hasHello_) {
        link_->Refuse("a frame other than HELLO, or a second HELLO");
        return;
    }
    const auto standing = OnHello(context_, *link_, payload, where_);
    hasHello_ = standing.has_value();
    if (standing && !standing->isPending) {
        OnStateHandled();
    }
}

void Greeting::OnStateHandled()
{
    if (context_.account.IsMember(link_->PeerNetworkId())) {
        Finish({true});
    } else {
        Finish({false, {.end = LinkEnd::REFUSED, .why = "it is not a member of the account", .wasTried = true}});
    }
}

void Greeting::OnEnded(LinkEnd end, const std::string& why)
{
    if (hasHello_) {
        OnStateHandled();  // no state was received, or its adoption still runs
    } else {
        Finish({false, {.end = end, .why = why, .wasTried = true}});
    }
}

void Greeting::Finish(const GreetingResult& result)
{
    const Done done = std::exchange(done_, nullptr);
    Cancel();
    if (done) {
        done(result);
    }
}

void Greeting::Cancel()
{
    done_ = nullptr;
    if (const auto dial = std::exchange(dial_, nullptr)) {
        dial->Cancel();
    }
    if (const auto link = std::exchange(link_, nullptr)) {
        link->Close();
    }
}

}  // namespace Vexo::SoftBus
