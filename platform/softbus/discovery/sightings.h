// Sightings: the announcements of this account's devices that are heard now, on all channels, and which addresses are
// better left alone. A sighting tells whose it is by its token, so also of a device that was never met. The reactor
// writes, any thread reads; nothing blocks.
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

inline constexpr size_t MAX_SIGHTINGS = 1024;        // those beyond are not taken
inline constexpr size_t MAX_SIGHTING_ADDRESSES = 8;  // of one announcement
// An announcement counts for this long. Each device announces anew every period.
inline constexpr std::chrono::minutes SIGHTING_LIFE = 2 * Trust::TOKEN_PERIOD;
// How long an address at which a handshake failed is not tried by itself.
inline constexpr std::chrono::minutes AVOID_TIME{10};
inline constexpr size_t MAX_AVOIDED = 256;
// Tokens of strangers that are compared with clocks far off, each minute.
inline constexpr int MAX_DISTANT_READS = 60;

class Sightings : public NoCopyable {
public:
    explicit Sightings(const Clock& clock = Clock::System()) : clock_(clock) {}

    using TransportTokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;

    // Before any other call. tokens: of each transport that a call names.
    void SetTokens(std::string ownNetworkId, TransportTokens tokens);

    // This device's token of the period, for announcements of that transport.
    std::string OwnToken(const std::string& transport) const { return tokens_.at(transport)->MakeToken(ownNetworkId_); }
    // Whether a device of this account made the token, whatever its clock says.
    bool IsOurs(const std::string& transport, const std::string& token) EXCLUDES(mutex_);
    // Whether this device made the token, whatever its clock says, or then.
    bool IsOwn(const std::string& transport, const std::string& token, WallTime then) const;

    // Records a new or changed announcement, or its end (nothing). Returns how the network id of its device begins
    // (Trust::TokenOwner::idPrefix); nothing if the announcement is this device's own, of no device of the account, or
    // was not recorded.
    std::optional<std::string> Set(const std::string& channel, const std::string& name,
                                   const std::optional<Announcement>& announcement) EXCLUDES(mutex_);
    // Forgets announcements that were not renewed within SIGHTING_LIFE. Called once a period.
    void DropOld() EXCLUDES(mutex_);

    // Whether the device announces itself, and answered when it was tried since.
    bool IsAnnounced(const std::string& networkId) const EXCLUDES(mutex_);
    // Where devices announce themselves whose network id begins so, the last heard first.
    std::vector<PeerAddress> Addresses(const std::string& idPrefix) const EXCLUDES(mutex_);
    // By how much its clock is ahead, in whole periods, by the announcement that says least; 0 for a device that is not
    // heard.
    std::chrono::minutes ClockAhead(const std::string& networkId) const EXCLUDES(mutex_);
    // How the network ids of all devices begin that announce themselves.
    std::vector<std::string> AnnouncedIdPrefixes() const EXCLUDES(mutex_);

    // None of the device's addresses led to it.
    void MarkUnanswered(const std::string& networkId) EXCLUDES(mutex_);
    // The device was spoken with.
    void MarkAnswered(const std::string& networkId) EXCLUDES(mutex_);
    // A handshake with the device, whose id begins so, failed there (true) or was done (false).
    void RecordHandshake(const std::string& idPrefix, const PeerAddress& where, bool isFailure) EXCLUDES(mutex_);
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

    const Clock& clock_;
    std::string ownPrefix_;  // these are constant after SetTokens
    std::string ownNetworkId_;
    TransportTokens tokens_;
    mutable Mutex mutex_;
    std::map<std::pair<std::string, std::string>, Sighting> heard_ GUARDED_BY(mutex_);      // by channel and name
    std::map<std::pair<std::string, PeerAddress>, SteadyTime> avoided_ GUARDED_BY(mutex_);  // until when
    SteadyTime distantReadsSince_ GUARDED_BY(mutex_){};
    int distantReads_ GUARDED_BY(mutex_) = 0;  // since then, of tokens that were nobody's
};

}  // namespace Vexo::SoftBus
