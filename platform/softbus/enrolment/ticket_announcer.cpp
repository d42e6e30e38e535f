#include "platform/softbus/enrolment/ticket_announcer.h"

#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

void TicketAnnouncer::Start()
{
    strand_.Post([self = shared_from_this()] {
        self->channels_ = self->make_();
        for (const auto& channel : self->channels_) {
            const auto started = channel->Start(
                self->Token(*channel), [](const std::string&) { return false; },
                [](const std::string&, const std::optional<Announcement>&) {});
            if (!started) {
                QuviewDFX::LogWarn(LOG_SOFTBUS, "a ticket is not announced over %{public}s: %{public}s",
                                   channel->Name(), started.error().message);
            }
        }
    });
}

void TicketAnnouncer::Announce()
{
    strand_.Post([self = shared_from_this()] {
        for (const auto& channel : self->channels_) {
            channel->Announce(self->Token(*channel));
        }
    });
}

void TicketAnnouncer::Withdraw()
{
    strand_.Post([self = shared_from_this()] { self->channels_.clear(); });
}

std::string TicketAnnouncer::Token(const AnnouncementChannel& channel) const
{
    const auto tokens = tokens_.find(channel.TransportName());
    return tokens != tokens_.end() ? tokens->second->MakeToken(networkId_) : "";
}

}  // namespace Vexo::SoftBus
