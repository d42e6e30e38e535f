// Dial: tries to connect to one device. It tries the device's addresses, each a little after the previous one, or at
// once when all previous ones have failed (as RFC 8305 does). It keeps the first connection that completes the
// handshake, and queues HELLO on it as the first frame (docs/link.md).
// - A dial may seek: if no address works, it makes the announcement channels listen more intensively, and tries the
//   addresses that they report.
// - A device that does not have the current link key yet refuses the proof. The dial then sends it the account's state
//   over a connection that is proved with the previous key, and connects again.
// - After the account removed this device, every dial fails.
// Used on the reactor thread. No call blocks.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/link/link.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// One address of a device, and how long after the start of the dial it is tried at the latest.
struct Route {
    PeerAddress where;
    std::chrono::milliseconds after{0};
    bool wasSought = false;   // reported by a channel while this dial was seeking
    bool isRepeated = false;  // it has failed before in this dial
};

// A dial with a seekingLimit starts to seek after this time without success, or at once when no route is left.
inline constexpr std::chrono::milliseconds SEEK_DELAY{300};

// A dial that seeks tries an address over radio again after this pause, because radio connections fail occasionally.
// The address is not tried again if the device refused the connection.
inline constexpr std::chrono::milliseconds REPEAT_DELAY{500};

// Limits of one dial: attempts at the same time, and routes in all.
inline constexpr size_t MAX_ATTEMPTS = 16;
inline constexpr size_t MAX_ROUTES = 64;
// An address is tried this long after the one before it (RFC 8305, "Connection Attempt Delay").
inline constexpr std::chrono::milliseconds NEXT_ADDRESS_DELAY{100};

struct DialRequest {
    std::string networkId;  // of the wanted device; empty: any other device of the account
    std::string idPrefix;   // beginning of the wanted network id; empty: any
    // Returns the routes, the earliest first. Called again when an announcement is heard.
    std::function<std::vector<Route>()> routes;
    std::chrono::milliseconds limit{0};
    // The time limit of a dial that has started to seek, at least limit. nullopt: this dial does not seek.
    std::optional<std::chrono::milliseconds> seekingLimit{};
    bool greets = true;  // queues HELLO on the link
};

struct DialResult {
    std::shared_ptr<Link> link{};    // null if no address led to the device
    PeerAddress where{};             // of the link
    LinkEnd end = LinkEnd::BROKEN;   // without a link: how the attempt ended that best explains the failure
    std::string why = "no address";  // the failure of that attempt, for a person
    bool wasTried = false;           // a connection was attempted: the failure is not only local
    std::chrono::steady_clock::duration took{};
    SteadyTime deadline{};      // the end of the dial's time limit
    bool isThisDevice = false;  // one of the addresses belongs to this device
};

class Dial : public std::enable_shared_from_this<Dial>, public NoCopyable {
public:
    // Called once, on the reactor thread, never inside Start. It must set the owner of the link before it returns.
    using Done = std::function<void(DialResult result)>;

    static std::shared_ptr<Dial> Start(ReactorContext& context, DialRequest request, Done done);
    // Stops the dial. Done is not called from now on. Idempotent.
    void Cancel();
    // Call when a new announcement was recorded: addresses that this dial does not know yet are tried after the others.
    void AddNewAddresses();

private:
    class Attempt;
    friend class Attempt;
    using AttemptPtr = std::shared_ptr<Attempt>;

    Dial(ReactorContext& context, DialRequest request, Done done);

    void StartDueAttempts();
    void RepeatIfByRadio(const PeerAddress& where);
    bool SeeksNow();
    void StopSeeking();
    void Wait();
    std::chrono::milliseconds TimeLeft() const;
    bool CanDeliver() const;
    void Try(const Route& route);
    void RecordTry(const PeerAddress& where, const std::string& answer);
    void Succeeded(const AttemptPtr& attempt, std::shared_ptr<Link> link);
    void Failed(const AttemptPtr& attempt, LinkEnd end, const std::string& why);
    void Finish();

    ReactorContext& context_;
    const DialRequest request_;
    Done done_;
    const SteadyTime start_ = Clock::System().Now();
    std::chrono::milliseconds limit_ = request_.limit;
    asio::steady_timer timer_;
    const int32_t span_;  // the id of its trace spans
    std::vector<Route> routes_;
    size_t next_ = 0;                         // index into routes_
    std::chrono::milliseconds lastAdded_{0};  // when the last address that was added is due
    bool wasTried_ = false;
    bool hasSought_ = false;
    std::shared_ptr<void> seeking_;  // ReactorContext::seek, until a device is heard or the dial ends
    std::set<AttemptPtr> attempts_;
    DialResult result_;
};

}  // namespace Vexo::SoftBus
