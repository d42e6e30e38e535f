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
inline constexpr std::chrono::minutes LEFT_ALONE{10};
inline constexpr size_t MAX_LEFT_ALONE = 256;
// Tokens of strangers that are compared with clocks far off, each minute.
inline constexpr int MAX_FAR_READS = 60;

class Sightings : public NoCopyable {
public:
    explicit Sightings(const Clock& clock = Clock::System()) : clock_(clock) {}

    using TransportTokens = std::map<std::string, std::shared_ptr<const Trust::AnnouncementTokens>>;

    // Before any other call. tokens: of each transport that a call names.
    void Use(std::string ownNetworkId, TransportTokens tokens);

    // This device's token of the period, for announcements of that transport.
    std::string OwnToken(const std::string& transport) const { return tokens_.at(transport)->MakeToken(ownNetworkId_); }
    // Whether a device of this account made the token, whatever its clock says.
    bool IsOurs(const std::string& transport, const std::string& token) EXCLUDES(mutex_);
    bool IsOwn(const std::string& transport, const std::string& token) const;

    // An announcement came or changed, or has ended (nothing). How the network id of its device begins
    // (Trust::TokenOwner::idStart); nothing when it does not matter: it is this device's own, of no device of the
    // account, or was not there.
    std::optional<std::string> Set(const std::string& channel, const std::string& name,
                                   const std::optional<Announcement>& announcement) EXCLUDES(mutex_);
    // Forgets announcements that were not renewed within SIGHTING_LIFE. How often: once a period does.
    void DropOld() EXCLUDES(mutex_);

    // Whether the device announces itself, and answered when it was tried since.
    bool IsAnnounced(const std::string& networkId) const EXCLUDES(mutex_);
    // Where devices announce themselves whose network id begins so, the last heard first.
    std::vector<PeerAddress> Addresses(const std::string& idStart) const EXCLUDES(mutex_);
    // By how much its clock is ahead, in whole periods; 0 while it is close, and for a device that is not heard.
    std::chrono::minutes ClockAhead(const std::string& networkId) const EXCLUDES(mutex_);
    // How the ids of all begin that announce themselves.
    std::vector<std::string> All() const EXCLUDES(mutex_);

    // None of the device's addresses led to it.
    void Unanswered(const std::string& networkId) EXCLUDES(mutex_);
    // A device of the account answered there.
    void Answered(const PeerAddress& where) EXCLUDES(mutex_);
    // A handshake failed there.
    void LeaveAlone(const PeerAddress& where) EXCLUDES(mutex_);
    bool IsLeftAlone(const PeerAddress& where) const EXCLUDES(mutex_);

private:
    struct Sighting {
        Trust::TokenOwner owner;
        std::vector<PeerAddress> addresses;
        SteadyTime heardAt;
        bool isAnswered = true;  // not known to be otherwise
    };

    std::optional<Trust::TokenOwner> OwnerOf(const std::string& transport, const std::string& token) EXCLUDES(mutex_);

    const Clock& clock_;
    std::string ownStart_;  // these are constant after Use
    std::string ownNetworkId_;
    TransportTokens tokens_;
    mutable Mutex mutex_;
    std::map<std::pair<std::string, std::string>, Sighting> heard_ GUARDED_BY(mutex_);  // by channel and name
    std::map<PeerAddress, SteadyTime> leftAlone_ GUARDED_BY(mutex_);                    // until when
    SteadyTime farReadsSince_ GUARDED_BY(mutex_){};
    int farReads_ GUARDED_BY(mutex_) = 0;  // since then, of tokens that were nobody's
};

}  // namespace Vexo::SoftBus
