#include "platform/softbus/account/key_transfer.h"

#include <openssl/crypto.h>

#include <utility>

#include "platform/softbus/discovery/hello.h"
#include "platform/softbus/discovery/route.h"
#include "platform/softbus/sessions/sessions.h"

namespace Vexo::SoftBus {

KeyTransfer::KeyTransfer(ReactorContext& context, std::string networkId, std::string key, Done done)
    : context_(context), networkId_(std::move(networkId)), key_(std::move(key)), done_(std::move(done))
{
}

KeyTransfer::~KeyTransfer()
{
    OPENSSL_cleanse(key_.data(), key_.size());
}

void KeyTransfer::Start()
{
    dial_ =
        Dial::Start(context_,
                    {networkId_, networkId_, [&context = context_, id = networkId_] { return RoutesTo(context, id); },
                     OPEN_LIMIT, context_.CanSeek({}) ? std::optional(SEEKING_OPEN_LIMIT) : std::nullopt},
                    [self = shared_from_this()](const DialResult& result) { self->OnDialEnded(result); });
}

void KeyTransfer::OnDialEnded(const DialResult& result)
{
    dial_.reset();
    if (!result.link) {
        Finish(Fail(ErrorCode::UNAVAILABLE, result.why));
        return;
    }
    link_ = result.link;
    where_ = result.where;
    link_->SetOwner(shared_from_this());
}

void KeyTransfer::OnFrame(FrameKind kind, std::string payload)
{
    if (kind == FrameKind::HELLO && !hasSent_) {
        const auto standing = OnHello(context_, *link_, payload, where_);
        if (standing && standing->verdict == Standing::Verdict::TALK) {
            hasSent_ = true;
            link_->Send(FrameKind::ACCOUNT_KEY, key_);
        } else if (standing) {
            Finish(Fail(ErrorCode::REFUSED, "it is not a member of the account"));
        }
    } else if (kind == FrameKind::KEY_STORED && hasSent_) {
        Finish({});
    } else {
        link_->Refuse("an unexpected frame while the account's key is sent");
    }
}

void KeyTransfer::OnEnded(LinkEnd /*end*/, const std::string& why)
{
    Finish(Fail(ErrorCode::REFUSED, why));
}

void KeyTransfer::Finish(Result<void> result)
{
    const Done done = std::exchange(done_, nullptr);
    if (const auto link = std::exchange(link_, nullptr)) {
        link->Close();
    }
    if (done) {
        done(std::move(result));
    }
}

}  // namespace Vexo::SoftBus
