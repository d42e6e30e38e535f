// Sightings: the current announcements of this account's devices, from all channels, and the addresses to avoid because
// a handshake failed there. The token of an announcement identifies its device, also one that this device never met.
// The reactor thread writes, any thread reads. No call blocks.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus {

inline constexpr size_t MAX_SIGHTINGS = 1024;        // further ones are ignored
inline constexpr size_t MAX_SIGHTING_ADDRESSES = 8;  // of one announcement
// An announcement expires after this time. Each device renews its announcement every period.
inline constexpr std::chrono::minutes SIGHTING_LIFE = 2 * Trust::TOKEN_PERIOD;
// An address at which a handshake failed is avoided for this long.
inline constexpr std::chrono::minutes AVOID_TIME{10};
inline constexpr size_t MAX_AVOIDED = 256;
// The maximum number of unknown tokens per minute that are passed to AnnouncementTokens::ReadOfAnyClock, which computes
// many hashes.
inline constexpr int MAX_DISTANT_READS = 60;

class Sightings : public NoCopyable {
public:
    explicit Sightings(const Clock& clock = Clock::System()) : clock_(clock) {}

    using TransportTokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;

    // Call before any other function, and again when the link keys change. tokens must have an element for each
    // transport that is passed to another function.
    void SetTokens(std::string ownNetworkId, TransportTokens tokens) EXCLUDES(mutex_);

    // Returns this device's token of the current period, for announcements over that transport.
    std::string OwnToken(const std::string& transport) const EXCLUDES(mutex_);
    // Whether a device of this account made the token, even if its clock is wrong.
    bool IsOurs(const std::string& transport, const std::string& token) EXCLUDES(mutex_);
    // Whether this device made the token, at about the time then or with any clock that
    // AnnouncementTokens::ReadOfAnyClock covers.
    bool IsOwn(const std::string& transport, const std::string& token, WallTime then) const EXCLUDES(mutex_);

    // Records a new or changed announcement, or its end (nullopt). Returns the device that it belongs to; nullopt if
    // the announcement is this device's own, is of no device of the account, or was not recorded.
    std::optional<Trust::TokenOwner> Set(const std::string& channel, const std::string& name,
                                         const std::optional<Announcement>& announcement) EXCLUDES(mutex_);
    // Removes announcements that were not renewed within SIGHTING_LIFE. Call once a period.
    void DropOld() EXCLUDES(mutex_);

    // Whether the device announces itself, and no dial has failed to reach it since.
    bool IsAnnounced(const std::string& networkId) const EXCLUDES(mutex_);
    // The announced addresses of devices whose network id begins with the prefix, the newest announcement first.
    std::vector<PeerAddress> Addresses(const std::string& idPrefix) const EXCLUDES(mutex_);
    // How far the device's clock is ahead of this device's, in whole periods. If its announcements differ, the smallest
    // difference counts. 0 for a device without an announcement.
    std::chrono::minutes ClockAhead(const std::string& networkId) const EXCLUDES(mutex_);
    // The beginnings of the network ids of all devices that announce themselves.
    std::vector<std::string> AnnouncedIdPrefixes() const EXCLUDES(mutex_);

    // Call when the device was reached at none of its addresses.
    void MarkUnanswered(const std::string& networkId) EXCLUDES(mutex_);
    // Call after contact with the device.
    void MarkAnswered(const std::string& networkId) EXCLUDES(mutex_);
    // Records the outcome of a handshake at that address with the device whose network id begins with the prefix: the
    // address is avoided for AVOID_TIME after a failure, and no longer after a success.
    void RecordHandshake(const std::string& idPrefix, const PeerAddress& where, bool hasFailed) EXCLUDES(mutex_);
    bool IsAvoided(const std::string& idPrefix, const PeerAddress& where) const EXCLUDES(mutex_);

private:
    struct Sighting {
        Trust::TokenOwner owner;
        std::vector<PeerAddress> addresses;
        SteadyTime heardAt;
        bool isAnswered = true;  // false after a dial that failed
    };

    bool IsCurrent(const Sighting& sighting) const { return clock_.BootNow() - sighting.heardAt <= SIGHTING_LIFE; }
    std::optional<Trust::TokenOwner> OwnerOf(const std::string& transport, const std::string& token) EXCLUDES(mutex_);

    std::shared_ptr<const Trust::AnnouncementTokens> TokensOf(const std::string& transport) const EXCLUDES(mutex_);

    const Clock& clock_;
    mutable Mutex mutex_;
    std::string ownPrefix_ GUARDED_BY(mutex_);
    std::string ownNetworkId_ GUARDED_BY(mutex_);
    TransportTokens tokens_ GUARDED_BY(mutex_);
    std::map<std::pair<std::string, std::string>, Sighting> heard_ GUARDED_BY(mutex_);      // by channel and name
    std::map<std::pair<std::string, PeerAddress>, SteadyTime> avoided_ GUARDED_BY(mutex_);  // until when
    SteadyTime distantReadsSince_ GUARDED_BY(mutex_){};
    int distantReads_ GUARDED_BY(mutex_) = 0;  // since then, of foreign tokens
};

}  // namespace Vexo::SoftBus
