// AnnouncementChannel: a medium on which devices announce themselves and hear the announcements of other devices
// nearby. Examples are a folder that the devices share (folder_channel.h), and DNS-SD on the LAN (in a backend). An
// announcement contains a token (trust/announcement_tokens.h) and the addresses at which the device listens. An
// announcement is only a hint: the handshake at an address proves which device is there.
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
    std::string token;                   // Trust::TOKEN_BYTES bytes
    std::vector<PeerAddress> addresses;  // where the device listens; all of one transport

    bool operator==(const Announcement&) const = default;
};

class AnnouncementChannel {
public:
    // Called when an announcement is new, has changed or has ended. name: identifies the announcement in this channel
    // until the announcement ends. announcement: nullopt if the announcement has ended. Called on a thread of the
    // channel, one call at a time. Must not block.
    using Heard = std::function<void(const std::string& name, const std::optional<Announcement>& announcement)>;
    // Returns true if a device of this account made the token. The channel ignores announcements with other tokens. May
    // be called on any thread.
    using IsOurs = std::function<bool(const std::string& token)>;

    virtual ~AnnouncementChannel() = default;

    virtual std::string Name() const = 0;  // such as "dns-sd"; for logs
    // Returns the name (Transport::Name()) of the transport to which the announced addresses belong. The caller needs
    // the name to choose the token for Start and Announce, because a device has a different token for each transport.
    virtual std::string TransportName() const { return "tcp"; }

    // Announces the token. Reports the announcements of other devices that exist now, and listens for new ones. An
    // empty token: announces nothing. Blocks for a short time. Returns an error if the channel can never work. A
    // temporary fault, such as a daemon that is not running, is no error; the channel tries again. Call once.
    [[nodiscard]] virtual Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) = 0;
    // Replaces the announced token. The announcement with the previous token ends only after the new one is published.
    // An empty token changes nothing. Does not block.
    virtual void Announce(const std::string& token) = 0;
    // Returns true if other devices could hear this device's announcement now, as far as the channel knows.
    // Thread-safe. Does not block.
    virtual bool CanAnnounce() const { return true; }
    // Makes this channel listen more intensively, for as long as the returned handle exists. Call when the announcement
    // of a wanted device is missing. Returns null if the channel always hears everything, or cannot listen now. A
    // handle may be released on any thread, also after the channel has ended. Neither this call nor the release blocks.
    [[nodiscard]] virtual std::shared_ptr<void> Seek() { return nullptr; }
    // Ends the announcement and stops listening. Blocks for less than a second, unless a disk or a daemon hangs. No
    // callback runs after Withdraw returns. Must not be called from a callback. Idempotent. The destructor calls
    // Withdraw too.
    virtual void Withdraw() = 0;
};

// Makes all channels listen more intensively, for as long as the returned handle exists. Returns null if Seek of every
// channel returns null.
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

// Makes a channel that announces this device. listening: the TCP address on which this device listens; "0.0.0.0:40117"
// means port 40117 on all interfaces.
using AnnouncementChannelFactory = std::function<std::unique_ptr<AnnouncementChannel>(const std::string& listening)>;

}  // namespace Vexo::SoftBus
