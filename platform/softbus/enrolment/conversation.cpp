#include "platform/softbus/enrolment/conversation.h"

#include "platform/softbus/sessions/sessions.h"
#include "platform/trust/ticket.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {

namespace {

constexpr std::string_view NUMBER_LABEL = "EXPORTER-distnet join";

}  // namespace

void Conversation::OnFrame(FrameKind kind, std::string payload)
{
    if (kind != FrameKind::PING && !hasEnded_) {
        OnJoinFrame(kind, payload);
    }
}

void Conversation::OnEnded(LinkEnd /*end*/, const std::string& why)
{
    timer_.cancel();
    if (!std::exchange(hasEnded_, true)) {
        OnLost(why);
    }
}

void Conversation::Close()
{
    hasEnded_ = true;
    timer_.cancel();
    link_->Close();
}

void Conversation::Abort()
{
    hasEnded_ = true;
    timer_.cancel();
    link_->Abort();
}

void Conversation::SendLast(FrameKind kind, const std::string& payload)
{
    link_->Send(kind, payload);
    end_ = Clock::System().Now() + LAST_FRAME_LIMIT;
    KeepAlive();
}

void Conversation::KeepAlive()
{
    link_->Established();
    Wait();
}

void Conversation::Wait()
{
    timer_.expires_after(PING_PAUSE);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (error || self->hasEnded_) {
            return;
        }
        const SteadyTime now = Clock::System().Now();
        if (now - self->link_->LastReceived() >= SILENCE_LIMIT || now >= self->end_) {
            self->link_->Abort();
            self->OnEnded(LinkEnd::BROKEN, "the other device fell silent");
            return;
        }
        self->link_->Send(FrameKind::PING);
        self->Wait();
    });
}

Result<std::string> Conversation::NumberOf(const std::string& holderNonce, const std::string& request) const
{
    const auto secret = link_->ExportSecret(NUMBER_LABEL);
    if (!secret) {
        return Failure(secret.error());
    }
    std::string number = Trust::JoinNumber(secret.value(), holderNonce, request);
    return number.empty() ? Fail(ErrorCode::SYSTEM, "not enough memory") : Result<std::string>(std::move(number));
}

}  // namespace Vexo::SoftBus
