// Dial: one try to reach a device. It connects to the device's addresses, each a little after the previous one, or at
// once when all previous ones have failed (as RFC 8305 does), and keeps the first connection whose handshake is done.
// HELLO is queued on it as the first frame (docs/link.md). If no address has led to the device, a dial that seeks makes
// the channels listen more intensively, and tries the addresses that they report. A device that does not know this
// device's link key yet gets the account's state over a connection proved with the previous key, and is then connected
// to again. A device that was removed from the account dials nobody. Used on the reactor thread. No call blocks.
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
    bool wasSought = false;   // heard while a channel sought the device for this dial
    bool isRepeated = false;  // it has failed before in this dial
};

// A seeking dial starts to seek after this time without success, or at once when no route is left.
inline constexpr std::chrono::milliseconds SEEK_DELAY{300};

// A radio fails now and then: a seeking dial tries an address of a transport that finds devices by radio again after
// this pause, unless the device refused.
inline constexpr std::chrono::milliseconds REPEAT_DELAY{500};

// Limits of one dial: attempts at the same time, and routes in all.
inline constexpr size_t MAX_ATTEMPTS = 16;
inline constexpr size_t MAX_ROUTES = 64;
// An address is tried this long after the one before it (RFC 8305, "Connection Attempt Delay").
inline constexpr std::chrono::milliseconds NEXT_ADDRESS_DELAY{100};

struct DialRequest {
    std::string networkId;  // who must answer; empty: any other device of the account
    std::string idPrefix;   // how the network id of the wanted device begins; empty when any will do
    // Returns the routes, the earliest first. Called again when an announcement is heard.
    std::function<std::vector<Route>()> routes;
    std::chrono::milliseconds limit{0};
    // The limit once a channel seeks, at least limit; nothing: this dial does not seek.
    std::optional<std::chrono::milliseconds> seekingLimit{};
    bool greets = true;  // sends HELLO first
};

struct DialResult {
    std::shared_ptr<Link> link{};    // null when none of the addresses led to the device
    PeerAddress where{};             // of the link
    LinkEnd end = LinkEnd::BROKEN;   // without a link: the end of the try that best explains the failure
    std::string why = "no address";  // the same in words
    bool wasTried = false;           // at least one address answered or was silent: it is not this device that failed
    std::chrono::steady_clock::duration took{};
    SteadyTime deadline{};      // when the dial would have ended at the latest
    bool isThisDevice = false;  // one of the addresses leads back here
};

class Dial : public std::enable_shared_from_this<Dial>, public NoCopyable {
public:
    // On the reactor, never inside Start. The link's owner must be set before it returns.
    using Done = std::function<void(DialResult result)>;

    static std::shared_ptr<Dial> Start(ReactorContext& context, DialRequest request, Done done);
    // Done is not called from now on. Idempotent.
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
    std::chrono::milliseconds Left() const;
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
    const int32_t span_;  // the id of its spans
    std::vector<Route> routes_;
    size_t next_ = 0;                         // of the routes
    std::chrono::milliseconds lastAdded_{0};  // when the last address that was added is due
    bool wasTried_ = false;
    bool hasSought_ = false;
    std::shared_ptr<void> seeking_;  // ReactorContext::seek, until a device is heard or the dial ends
    std::set<AttemptPtr> attempts_;
    DialResult result_;
};

}  // namespace Vexo::SoftBus
