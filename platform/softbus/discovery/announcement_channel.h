// AnnouncementChannel: a medium on which devices announce themselves and receive the announcements of others nearby: a
// folder that they share (folder_channel.h), or DNS-SD on the LAN (in a backend). An announcement contains a token
// (trust/announcement_tokens.h) and the addresses at which the device listens. It is only a hint: the handshake at an
// address proves which device is there.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/result.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

struct Announcement {
    std::string token;                   // Trust::TOKEN_BYTES
    std::vector<PeerAddress> addresses;  // where the device listens; all of one transport

    bool operator==(const Announcement&) const = default;
};

class AnnouncementChannel {
public:
    // Called when an announcement is new, has changed, or has ended (nullopt). name: unique in this channel until the
    // announcement ends. Called on a thread of the channel, one call at a time; must not block.
    using Heard = std::function<void(const std::string& name, const std::optional<Announcement>& announcement)>;
    // Whether a device of this account made the token, so that the channel can ignore the others. Any thread.
    using IsOurs = std::function<bool(const std::string& token)>;

    virtual ~AnnouncementChannel() = default;

    virtual std::string Name() const = 0;  // "dns-sd", for logs
    // The Transport::Name() of the addresses that the channel announces. The tokens are made for that transport.
    virtual std::string TransportName() const { return "tcp"; }

    // Announces token (empty: announces nothing), reports the announcements of others that exist now, and listens for
    // new ones. Blocks for a short time. An error means that the channel can never work. Temporary faults, such as a
    // daemon that is not running, are retried and return no error. Call once.
    [[nodiscard]] virtual Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) = 0;
    // Replaces the announced token; the announcement of the previous token ends only after the new one is out. An empty
    // token changes nothing. Does not block.
    virtual void Announce(const std::string& token) = 0;
    // Whether others could hear this device's announcement now, as far as the channel knows. Any thread; does not
    // block.
    virtual bool CanAnnounce() const { return true; }
    // Listens more intensively while the returned handle lives, because the announcement of a wanted device is missing.
    // Returns null if the channel always hears everything, or cannot listen now. A handle may be released on any
    // thread, also after the channel has ended. Neither the call nor the release blocks.
    [[nodiscard]] virtual std::shared_ptr<void> Seek() { return nullptr; }
    // Ends the announcement and stops listening. Blocks for less than a second, unless a disk or a daemon hangs. No
    // callback runs after it returns. Must not be called from a callback. Idempotent; the destructor calls it too.
    virtual void Withdraw() = 0;
};

// Makes all channels listen more intensively while the result lives; null if none can.
inline std::shared_ptr<void> SeekOnAll(const std::vector<std::unique_ptr<AnnouncementChannel>>& channels)
{
    std::vector<std::shared_ptr<void>> handles;
    handles.reserve(channels.size());
    for (const auto& channel : channels) {
        handles.push_back(channel->Seek());
    }
    std::erase(handles, nullptr);
    return handles.empty() ? nullptr : std::make_shared<decltype(handles)>(std::move(handles));
}

// Makes a channel that announces a device which listens there over TCP ("0.0.0.0:40117": on all its interfaces).
using AnnouncementChannelFactory = std::function<std::unique_ptr<AnnouncementChannel>(const std::string& listening)>;

}  // namespace Vexo::SoftBus
