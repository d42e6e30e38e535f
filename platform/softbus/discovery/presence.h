// Presence: finds devices and notices when they leave. Every address that the configuration or an announcement names is
// dialled, again and again and ever more rarely while nobody answers; those of known devices once at the start. Who
// passes the handshake and says HELLO is online as long as one such connection stands; when the last one breaks,
// reconnecting is tried once before the device leaves the list. Both devices of a pair dial each other when both know
// an address: each then holds a ticket for cheap sessions. The reactor's, but for LinkCount; nothing blocks. No timer
// runs while all that is known is connected.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

inline constexpr std::chrono::milliseconds FIRST_RETRY_PAUSE{200};
inline constexpr std::chrono::milliseconds LAST_RETRY_PAUSE{60'000};
// Who fails the handshake will hardly become one of ours: a stranger is asked more rarely from the start.
inline constexpr std::chrono::milliseconds FIRST_STRANGER_PAUSE{5'000};
inline constexpr std::chrono::milliseconds LAST_STRANGER_PAUSE{3'600'000};

class Presence : public NoCopyable {
public:
    explicit Presence(ReactorContext& context) : context_(context) {}
    ~Presence();

    void AddConfigured(const PeerAddress& where);
    void SetAnnounced(const std::string& networkId, const std::optional<PeerAddress>& where);
    // Dials the last addresses of the known devices that are away, one after the other, once. After AddConfigured and
    // SetAnnounced of the start, whose addresses are left to them.
    void DialKnownDevices();
    // A link that another device opened, and its first frame.
    void AdoptInbound(const std::shared_ptr<Link>& link, const std::string& hello, const PeerAddress& from);
    // Ends discovery and says CLOSE to everyone.
    void Stop();

    size_t LinkCount() const { return linkCount_.load(); }

private:
    struct Candidate;
    class PresenceLink;
    friend class PresenceLink;
    using CandidatePtr = std::shared_ptr<Candidate>;
    using LinkPtr = std::shared_ptr<PresenceLink>;

    CandidatePtr AddCandidate(const PeerAddress& where, const std::string& networkId);
    CandidatePtr FindCandidate(const PeerAddress& where, const std::string& networkId) const;
    void Drop(const CandidatePtr& candidate);
    void DialOnce(const std::string& networkId, const std::vector<PeerAddress>& addresses);
    void Dial(const CandidatePtr& candidate);
    void DialNow(const CandidatePtr& candidate);
    void DialLater(const CandidatePtr& candidate);
    void DialFailed(const CandidatePtr& candidate, bool refused, const std::string& why);
    bool Known(const LinkPtr& link, const std::string& payload);
    std::string OwnHello() const;
    void Lost(const LinkPtr& link, LinkEnd end, const std::string& why);
    void Rescue(const std::string& networkId, const CandidatePtr& candidate);
    void GoOffline(const std::string& networkId);

    ReactorContext& context_;
    std::set<CandidatePtr> candidates_;
    std::set<LinkPtr> links_;
    std::atomic<size_t> linkCount_{0};
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
