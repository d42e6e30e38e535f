// Dial: connects to one device. It tries the device's addresses one after another, each a little later than the one
// before. If all attempts so far have failed, it tries the next address at once (RFC 8305 does the same). It keeps the
// first connection that completes the handshake, and queues HELLO on it as the first frame (docs/link.md).
// - A dial may seek: if no address works, it makes the announcement channels listen more intensively, and tries the
//   addresses that they report.
// - A device that does not have the current link key yet refuses the proof of this key. The dial then opens a
//   connection with the previous key, sends the account's state over it, and connects again with the current key.
// - After the account has removed this device, every dial fails.
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

// One address of a device. after: the latest time to try the address, counted from the start of the dial.
struct Route {
    PeerAddress where;
    std::chrono::milliseconds after{0};
    bool wasSought = false;   // a channel reported the address while this dial was seeking
    bool isRepeated = false;  // the address has failed before in this dial
};

// A dial that has a seekingLimit starts to seek when it has had no connection for this time, or when all addresses have
// failed. To seek means to make the announcement channels listen more intensively.
inline constexpr std::chrono::milliseconds SEEK_DELAY{300};

// A dial repeats a failed attempt over radio after this pause, because radio connections fail occasionally. It does not
// repeat the attempt if the device refused the connection, or if the dial neither seeks nor runs another attempt.
inline constexpr std::chrono::milliseconds REPEAT_DELAY{500};

// MAX_ATTEMPTS: how many attempts of one dial run at the same time. MAX_ROUTES: how many addresses one dial tries.
inline constexpr size_t MAX_ATTEMPTS = 16;
inline constexpr size_t MAX_ROUTES = 64;
// The pause between the attempts at two addresses (RFC 8305, "Connection Attempt Delay").
inline constexpr std::chrono::milliseconds NEXT_ADDRESS_DELAY{100};

struct DialRequest {
    std::string networkId;  // of the wanted device; empty: any device of the account except this one
    std::string idPrefix;   // the beginning of the wanted network id; empty: any
    // Returns the addresses in the order in which to try them. Called again when an announcement arrives.
    std::function<std::vector<Route>()> routes;
    std::chrono::milliseconds limit{0};
    // The time limit of a dial after it has started to seek. At least DialRequest::limit. nullopt: this dial does
    // not seek.
    std::optional<std::chrono::milliseconds> seekingLimit{};
    bool greets = true;  // if true, the dial queues HELLO on the link
};

struct DialResult {
    std::shared_ptr<Link> link{};    // null if the device was reached at no address
    PeerAddress where{};             // the address of the link, or of the failed attempt
    LinkEnd end = LinkEnd::BROKEN;   // without a link: the end of the attempt that explains the failure best
    std::string why = "no address";  // why that attempt has failed, as text for a person
    bool wasTried = false;           // false if each attempt failed on this device, before a connection was tried
    std::chrono::steady_clock::duration took{};
    SteadyTime deadline{};      // when the time limit of the dial ends
    bool isThisDevice = false;  // one of the addresses belongs to this device
};

class Dial : public std::enable_shared_from_this<Dial>, public NoCopyable {
public:
    // Called once, on the reactor thread, never inside Start. If there is a link, the callback must call SetOwner of
    // the link before the callback returns.
    using Done = std::function<void(DialResult result)>;

    static std::shared_ptr<Dial> Start(ReactorContext& context, DialRequest request, Done done);
    // Stops the dial. Done is not called from now on. Idempotent.
    void Cancel();
    // Call when a new announcement was recorded. The dial then also tries announced addresses that it has not tried.
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
    const int32_t span_;  // the id of the trace spans of this dial
    std::vector<Route> routes_;
    size_t next_ = 0;                         // index into routes_
    std::chrono::milliseconds lastAdded_{0};  // the start time of the newest address
    bool wasTried_ = false;
    bool hasSought_ = false;
    std::shared_ptr<void> seeking_;  // the handle of ReactorContext::seek while this dial seeks
    std::set<AttemptPtr> attempts_;
    DialResult result_;
};

}  // namespace Vexo::SoftBus
