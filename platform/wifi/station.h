// Station: the state machine of a Wi-Fi join. Every backend uses it. A backend begins an attempt and reports what its
// radio observes. The station
// - stores the attempt's state, number, configuration and search limit (the longest time for the search),
// - answers GetLinkInfo and WaitForChange,
// - writes the system event NET_WIFI_JOIN_FAIL for each attempt that failed,
// - returns which changes the backend must publish as common events.
// A new attempt silently replaces the previous attempt, in any state. Each observation names its attempt. If that
// attempt was replaced or has ended, the observation changes nothing.
//
//   SEARCHING -> JOIN_REQUESTED -> JOINING -> OBTAINING_ADDRESS -> CONNECTED -> DISCONNECTED
//
// A radio may skip states. From any state before CONNECTED, the attempt may return to SEARCHING to retry the join, or
// end in FAILED. Thread-safe; only WaitForChange blocks. Stored configurations: wifi_device.h.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/wifi/wifi_config_store.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// The reasons why a join failed: the values of REASON in the system event NET_WIFI_JOIN_FAIL (docs/errors.md) and of
// WifiLinkInfo::failure.
namespace JoinFailure {
inline constexpr const char* NOT_VISIBLE = "NOT_VISIBLE";
inline constexpr const char* SECURITY_DIFFERS = "SECURITY_DIFFERS";
inline constexpr const char* KEY_NEEDED = "KEY_NEEDED";
inline constexpr const char* WRONG_KEY = "WRONG_KEY";
inline constexpr const char* NOT_ADMITTED = "NOT_ADMITTED";  // the hotspot gives no reason; most often the key is wrong
inline constexpr const char* NO_IP_ADDRESS = "NO_IP_ADDRESS";
inline constexpr const char* NO_ANSWER = "NO_ANSWER";        // the hotspot did not complete the join in time
inline constexpr const char* WIFI_OFF = "WIFI_OFF";          // Wi-Fi was switched off, or the radio was removed
inline constexpr const char* RADIO_FAILED = "RADIO_FAILED";  // the radio or the radio's daemon failed
inline constexpr const char* ENDED_HERE = "ENDED_HERE";      // this device ended it: a person, another network or sleep
}  // namespace JoinFailure

// Why an attempt or a connection ended.
struct LinkEnd {
    const char* failure;   // a value of JoinFailure
    std::string sentence;  // text for a person; may contain the network's name, never its key
};

// NotVisible, HotspotGone, WrongKey and WifiOff return the LinkEnd for an end that every backend can detect, so that
// all backends report the end with the same failure and the same sentence.
LinkEnd NotVisible(const std::string& ssid);  // ends an attempt
LinkEnd HotspotGone();                        // ends a connection
LinkEnd WrongKey();
LinkEnd WifiOff(bool hasRadio);

struct NetworkSecurity {
    bool needsKey = false;
    bool allowsPsk = false;
    bool allowsSae = false;
};

// Checks whether a station can join a network. config: the station's configuration. security: how the network is
// secured. Returns no value if the station can try to join. Otherwise returns why it cannot.
std::optional<LinkEnd> MismatchOf(const WifiDeviceConfig& config, const NetworkSecurity& security);

class Station {
public:
    enum class State {
        IDLE,            // no attempt has begun yet
        SEARCHING,       // waits until a suitable network is visible
        JOIN_REQUESTED,  // the radio may still be leaving its previous network
        JOINING,         // the radio authenticates with the hotspot
        OBTAINING_ADDRESS,
        CONNECTED,
        FAILED,        // the attempt ended before it was connected
        DISCONNECTED,  // the attempt ended after it was connected
    };

    // A copy of the latest attempt's data, as returned by Current.
    struct Join {
        uint32_t attempt = 0;
        State state = State::IDLE;
        WifiDeviceConfig config;                  // includes the key
        std::chrono::microseconds searchLeft{0};  // time left to search; at 0 no further join may begin
        bool IsUnderWay() const { return state >= State::SEARCHING && state <= State::CONNECTED; }
    };

    // clock: the clock that measures the search limit.
    explicit Station(const Clock& clock = Clock::System()) : clock_(clock) {}

    WifiLinkInfo LinkInfo() const;
    // Blocks until the link info has another state or attempt number than the caller knows. Does not block after Stop.
    // Returns the current link info. known: the link info that the caller knows. limit: the longest time to block.
    WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit);

    Join Current() const;
    // Starts a new attempt in state SEARCHING. Returns the attempt's number, or no value after Stop(). searchLimit: the
    // longest time for the search.
    std::optional<uint32_t> Begin(const WifiDeviceConfig& config, std::chrono::milliseconds searchLimit);
    // Moves the attempt to another state that comes before CONNECTED. Returns false if the attempt is not the latest or
    // has ended.
    bool Advance(uint32_t attempt, State state);
    // Sets the attempt to CONNECTED and stores the network's hardware address in the attempt's stored configuration,
    // before another thread can see the new state. Returns true if the backend must publish the new state. Returns
    // false if the attempt is not the latest or has ended, and after Stop().
    bool OnConnected(uint32_t attempt, const std::string& bssid, const std::string& address);
    // Sets the attempt to FAILED, or to DISCONNECTED if it was connected. Returns the state that the backend must
    // publish. Returns no value if the attempt is not the latest or has ended, and after Stop().
    std::optional<WifiLinkState> OnEnded(uint32_t attempt, const LinkEnd& end);
    // Ends all calls of WaitForChange. From now on the link info does not change, and no function asks the backend to
    // publish a change.
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
