// TicketAnnouncer: announces this device with tokens that are derived from a ticket. It has its own channels, and
// ignores the announcements that these channels receive. Starting and stopping a channel blocks, so a strand runs both.
// Thread-safe. Only Drain blocks.
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
    using Tokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;  // key: transport name

    // make: creates the channels; called once, on the strand. networkId: the network id of this device.
    TicketAnnouncer(std::function<Channels()> make, Tokens tokens, std::string networkId)
        : make_(std::move(make)), tokens_(std::move(tokens)), networkId_(std::move(networkId))
    {
    }

    void Start();
    // Call when a token period has begun. Announces the token of that period.
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
