// AnnouncementChannel: one way in which devices announce themselves to others nearby and hear of them: a folder that
// they share (folder_channel.h), DNS-SD on the LAN (a backend's). What is announced is a token
// (trust/announcement_tokens.h) and where the device listens. An announcement is only a hint where to try: the
// handshake decides who is there.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
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
    // A device's announcement is new or has changed, or has ended (nullopt). name: unique in this channel until the
    // announcement ends. On a thread of the channel, one call at a time; must not block.
    using Heard = std::function<void(const std::string& name, const std::optional<Announcement>& announcement)>;
    // Whether a token is of this account, so that the channel spends nothing on others. Any thread.
    using IsOurs = std::function<bool(const std::string& token)>;

    virtual ~AnnouncementChannel() = default;

    virtual std::string Name() const = 0;  // "dns-sd", for logs
    // Transport::Name() of the addresses that it announces; the tokens are made for that one.
    virtual std::string TransportName() const { return "tcp"; }

    // Announces token, reports what is there, and listens. Blocks for a short time. An error means that the channel can
    // never work. Temporary faults, such as a daemon that is not running, are retried and return no error. Call once.
    [[nodiscard]] virtual Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) = 0;
    // Announces this token from now on, before the announcement of the one before ends. An empty token changes nothing:
    // the one before stays announced. Does not block.
    virtual void Announce(const std::string& token) = 0;
    // Listens more intensively for that time, because a wanted device is not heard. False for a channel that always
    // hears what there is. Does not block.
    virtual bool Seek(std::chrono::milliseconds /*limit*/) { return false; }
    // Ends the announcement and listening, within a second unless a disk or a daemon hangs. No callback runs after it
    // returns. Not from a callback. Idempotent; the destructor does it too.
    virtual void Withdraw() = 0;
};

// Makes a channel that announces a device which listens there over TCP ("0.0.0.0:40117": on all its interfaces).
using AnnouncementChannelFactory = std::function<std::unique_ptr<AnnouncementChannel>(const std::string& listening)>;

}  // namespace Vexo::SoftBus
