// TicketAnnouncer: announces this device with tokens derived from a ticket, on its own channels. It ignores the
// announcements of other devices. Starting and stopping a channel blocks, so that work runs on a strand. Any thread;
// only Drain blocks.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus {

using Channels = std::vector<std::unique_ptr<AnnouncementChannel>>;

class TicketAnnouncer : public std::enable_shared_from_this<TicketAnnouncer>, public NoCopyable {
public:
    using Tokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;  // by transport

    // make: creates the channels; called once, on the strand. networkId: of this device.
    TicketAnnouncer(std::function<Channels()> make, Tokens tokens, std::string networkId)
        : make_(std::move(make)), tokens_(std::move(tokens)), networkId_(std::move(networkId))
    {
    }

    void Start();
    // Announces the token of the period that has begun.
    void Announce();
    void Withdraw();
    // Blocks until the work of all earlier calls is done. Must not be called from a callback of the soft bus.
    void Drain() { strand_.Drain(); }

private:
    std::string Token(const AnnouncementChannel& channel) const;

    const std::function<Channels()> make_;
    const Tokens tokens_;
    const std::string networkId_;
    Channels channels_;  // used on the strand only
    Tasks::Strand strand_;
};

}  // namespace Vexo::SoftBus
