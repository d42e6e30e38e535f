// Station: the state machine of a Wi-Fi join, which every backend uses. A backend begins an attempt and reports what
// its radio observes. The station
// - stores the attempt's state, number, configuration and search limit,
// - answers GetLinkInfo and WaitForChange,
// - writes the system event NET_WIFI_JOIN_FAIL for each attempt that failed,
// - returns which changes the backend must publish as common events.
// A new attempt silently replaces the previous one, in any state. Each observation names its attempt and changes
// nothing if the attempt was replaced or has ended.
//
//   SEARCHING -> JOIN_REQUESTED -> JOINING -> OBTAINING_ADDRESS -> CONNECTED -> DISCONNECTED
//
// A radio may skip states. A state before CONNECTED may return to SEARCHING, to try another join, or end in FAILED. Any
// thread; only WaitForChange blocks. Stored configurations: wifi_device.h.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/wifi/wifi_config_store.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// Why a join failed: the REASON of NET_WIFI_JOIN_FAIL (docs/errors.md), and WifiLinkInfo::failure.
namespace JoinFailure {
inline constexpr const char* NOT_VISIBLE = "NOT_VISIBLE";
inline constexpr const char* SECURITY_DIFFERS = "SECURITY_DIFFERS";
inline constexpr const char* KEY_NEEDED = "KEY_NEEDED";
inline constexpr const char* WRONG_KEY = "WRONG_KEY";
inline constexpr const char* NOT_ADMITTED = "NOT_ADMITTED";  // the hotspot gives no reason; most often the key is wrong
inline constexpr const char* NO_IP_ADDRESS = "NO_IP_ADDRESS";
inline constexpr const char* NO_ANSWER = "NO_ANSWER";        // the hotspot did not complete the join in time
inline constexpr const char* WIFI_OFF = "WIFI_OFF";          // switched off, or the radio was removed
inline constexpr const char* RADIO_FAILED = "RADIO_FAILED";  // the radio failed, or the daemon that controls it
inline constexpr const char* ENDED_HERE = "ENDED_HERE";      // by a person, another network or sleep, on this device
}  // namespace JoinFailure

// Why an attempt or a connection ended.
struct LinkEnd {
    const char* failure;   // a value of JoinFailure
    std::string sentence;  // for a person; it may name the network, never its key
};

// Ends that every backend can report.
LinkEnd NotVisible(const std::string& ssid);  // ends an attempt
LinkEnd HotspotGone();                        // ends a connection
LinkEnd WrongKey();
LinkEnd WifiOff(bool hasRadio);

// How a visible network is secured.
struct NetworkSecurity {
    bool needsKey = false;
    bool allowsPsk = false;
    bool allowsSae = false;
};

// Returns why a station with this configuration cannot join such a network; no value if it can try.
std::optional<LinkEnd> MismatchOf(const WifiDeviceConfig& config, const NetworkSecurity& security);

class Station {
public:
    enum class State {
        IDLE,            // no attempt yet
        SEARCHING,       // until a network that the attempt can join is visible
        JOIN_REQUESTED,  // the radio may still be leaving its previous network
        JOINING,         // the radio authenticates with the hotspot
        OBTAINING_ADDRESS,
        CONNECTED,
        FAILED,        // ended before it was connected
        DISCONNECTED,  // ended after it was connected
    };

    // The latest attempt, as it is when Current is called.
    struct Join {
        uint32_t attempt = 0;
        State state = State::IDLE;
        WifiDeviceConfig config;                  // includes the key
        std::chrono::microseconds searchLeft{0};  // at 0 no other join may begin
        bool IsUnderWay() const { return state >= State::SEARCHING && state <= State::CONNECTED; }
    };

    // clock: measures the search limit.
    explicit Station(const Clock& clock = Clock::System()) : clock_(clock) {}

    WifiLinkInfo LinkInfo() const;
    // Blocks until state or attempt differ from known, the limit has passed, or Stop() is called. Returns the current
    // link info.
    WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit);

    Join Current() const;
    // Starts a new attempt in state SEARCHING. Returns its number; no value after Stop().
    std::optional<uint32_t> Begin(const WifiDeviceConfig& config, std::chrono::milliseconds searchLimit);
    // Sets the state of the attempt, which must be one before CONNECTED. Returns false if the attempt is not the latest
    // or has ended.
    bool Advance(uint32_t attempt, State state);
    // Sets the attempt to CONNECTED and stores the network's hardware address in its configuration, before another
    // thread can see the new state. Returns true if the backend must publish that; false if the attempt is not the
    // latest or has ended, and after Stop().
    bool OnConnected(uint32_t attempt, const std::string& bssid, const std::string& address);
    // Sets the attempt to FAILED, or to DISCONNECTED if it was connected. Returns the state that the backend must
    // publish; no value if the attempt is not the latest or has ended, and after Stop().
    std::optional<WifiLinkState> OnEnded(uint32_t attempt, const LinkEnd& end);
    // Ends all waits. From now on nothing is to be published, and the link info does not change.
    void Stop();
    bool IsStopped() const;

    WifiConfigStore configs;  // own synchronisation

private:
    bool IsUnderWay(uint32_t attempt) const REQUIRES(mutex_) { return join_.attempt == attempt && join_.IsUnderWay(); }

    const Clock& clock_;

    mutable Mutex mutex_;
    CondVar changed_;
    Join join_ GUARDED_BY(mutex_);
    SteadyTime searchEnd_ GUARDED_BY(mutex_);
    WifiLinkInfo info_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Wifi
