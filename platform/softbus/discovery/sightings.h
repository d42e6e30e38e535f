// Sightings: the current announcements of this account's devices, from all channels. Their tokens identify the devices,
// even devices that this device has never met. The class also holds the addresses to avoid because a handshake failed
// there. The reactor thread writes, any thread reads. No call blocks.
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

inline constexpr size_t MAX_SIGHTINGS = 1024;        // how many announcements are stored; further ones are ignored
inline constexpr size_t MAX_SIGHTING_ADDRESSES = 8;  // how many addresses of one announcement are stored
// An announcement expires after this time. Each device renews its announcement every token period.
inline constexpr std::chrono::minutes SIGHTING_LIFE = 2 * Trust::TOKEN_PERIOD;
// If a handshake failed at an address, that address is avoided for this long.
inline constexpr std::chrono::minutes AVOID_TIME{10};
inline constexpr size_t MAX_AVOIDED = 256;
// The maximum number of calls of AnnouncementTokens::ReadOfAnyClock per minute that find no device of the account. The
// number is limited because ReadOfAnyClock computes many hashes.
inline constexpr int MAX_FAILED_TOKEN_READS = 60;

class Sightings : public NoCopyable {
public:
    explicit Sightings(const Clock& clock = Clock::System()) : clock_(clock) {}

    using TransportTokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;

    // Sets the tokens of each transport. Call before any other function, and again when the link keys change. tokens
    // must have an element for each transport that is passed to another function.
    void SetTokens(std::string ownNetworkId, TransportTokens tokens) EXCLUDES(mutex_);

    // Returns this device's token of the current period, for announcements over the given transport.
    std::string OwnToken(const std::string& transport) const EXCLUDES(mutex_);
    // Returns true if a device of this account made the token, even if the clock of that device is wrong.
    bool IsOurs(const std::string& transport, const std::string& token) EXCLUDES(mutex_);
    // Returns true if this device made the token, also if this device's clock was wrong at that time
    // (AnnouncementTokens::ReadOfAnyClock). then: the approximate time at which the token was made.
    bool IsOwn(const std::string& transport, const std::string& token, WallTime then) EXCLUDES(mutex_);

    // Records a new or changed announcement. If the announcement is nullopt, has no address or is not from another
    // device of the account, removes the announcement that was recorded under this name. Returns the device whose
    // announcement was recorded or removed. Returns nullopt if nothing was recorded or removed.
    std::optional<Trust::TokenOwner> Set(const std::string& channel, const std::string& name,
                                         const std::optional<Announcement>& announcement) EXCLUDES(mutex_);
    // Removes announcements that were not renewed within SIGHTING_LIFE. Call once a token period.
    void DropOld() EXCLUDES(mutex_);

    // Returns true if the device announces itself. Returns false if a dial has failed to reach the device, until the
    // next contact or the next change of the announcement.
    bool IsAnnounced(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns the announced addresses of a device. The addresses of the newest announcement come first. idPrefix: the
    // device's network id, or at least the characters of it that a token contains (Trust::TokenOwner::idPrefix).
    std::vector<PeerAddress> Addresses(const std::string& idPrefix) const EXCLUDES(mutex_);
    // Returns how far the device's clock is ahead of this device's clock, in whole token periods. If the device's
    // announcements show different values, returns the one closest to 0. Returns 0 for a device without announcement.
    std::chrono::minutes ClockAhead(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns the first characters of the network ids of all devices that announce themselves.
    std::vector<std::string> AnnouncedIdPrefixes() const EXCLUDES(mutex_);

    // Call when a dial reached the device at none of its addresses.
    void MarkUnanswered(const std::string& networkId) EXCLUDES(mutex_);
    // Call after contact with the device.
    void MarkAnswered(const std::string& networkId) EXCLUDES(mutex_);
    // Records the outcome of a handshake. where: the address of the handshake. idPrefix: the beginning of the device's
    // network id. After a failure the address is avoided for AVOID_TIME. After a success the address is no longer
    // avoided.
    void RecordHandshake(const std::string& idPrefix, const PeerAddress& where, bool hasFailed) EXCLUDES(mutex_);
    bool IsAvoided(const std::string& idPrefix, const PeerAddress& where) const EXCLUDES(mutex_);

private:
    struct Sighting {
        Trust::TokenOwner owner;
        std::vector<PeerAddress> addresses;
        SteadyTime heardAt;
        bool isAnswered = true;  // false: a later dial did not reach the device
    };

    bool IsCurrent(const Sighting& sighting) const { return clock_.BootNow() - sighting.heardAt <= SIGHTING_LIFE; }
    std::optional<Trust::TokenOwner> OwnerOf(const std::string& transport, const std::string& token) EXCLUDES(mutex_);
    std::optional<Trust::TokenOwner> ReadOfAnyClock(const Trust::AnnouncementTokens& tokens, const std::string& token)
        EXCLUDES(mutex_);

    std::shared_ptr<const Trust::AnnouncementTokens> TokensOf(const std::string& transport) const EXCLUDES(mutex_);

    const Clock& clock_;
    mutable Mutex mutex_;
    std::string ownPrefix_ GUARDED_BY(mutex_);
    std::string ownNetworkId_ GUARDED_BY(mutex_);
    TransportTokens tokens_ GUARDED_BY(mutex_);
    std::map<std::pair<std::string, std::string>, Sighting> heard_ GUARDED_BY(mutex_);      // key: channel and name
    std::map<std::pair<std::string, PeerAddress>, SteadyTime> avoided_ GUARDED_BY(mutex_);  // the end of AVOID_TIME
    SteadyTime distantReadsSince_ GUARDED_BY(mutex_){};
    int distantReads_ GUARDED_BY(mutex_) = 0;  // foreign tokens read since distantReadsSince_
};

}  // namespace Vexo::SoftBus
