// Station: the state machine of a Wi-Fi join, the same for every backend. A backend begins an attempt and reports what
// it observes at its radio; the station keeps the attempt's state, number, configuration and search limit, answers
// GetLinkInfo and WaitForChange, writes the system event NET_WIFI_JOIN_FAIL of each attempt that failed, and says which
// ends are published. A new attempt replaces the one before silently, from any state: observations name their attempt,
// and change nothing once it was replaced or has ended.
//
//   SEARCHING -> JOIN_REQUESTED -> JOINING -> OBTAINING_ADDRESS -> CONNECTED -> DISCONNECTED
//
// A radio may skip states. Each before CONNECTED may go back to SEARCHING, when another join is tried, or end in
// FAILED. Any thread; own mutex; only WaitForChange blocks. What the stored configurations are for: wifi_device.h.
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
inline constexpr const char* NOT_ADMITTED = "NOT_ADMITTED";  // the hotspot does not say why; most often the key
inline constexpr const char* NO_IP_ADDRESS = "NO_IP_ADDRESS";
inline constexpr const char* NO_ANSWER = "NO_ANSWER";        // the hotspot did not complete the join in time
inline constexpr const char* WIFI_OFF = "WIFI_OFF";          // switched off, or the radio was removed
inline constexpr const char* RADIO_FAILED = "RADIO_FAILED";  // the radio, or the daemon that drives it
inline constexpr const char* ENDED_HERE = "ENDED_HERE";      // by a person, another network or sleep of this device
}  // namespace JoinFailure

// Why an attempt or a connection ended.
struct LinkEnd {
    const char* failure;   // of JoinFailure; counts when an attempt ended
    std::string sentence;  // for a person; it may name the network, never its key
};

// The ends that every backend has.
LinkEnd NotVisible(const std::string& ssid);  // of an attempt
LinkEnd HotspotGone();                        // of a connection
LinkEnd WrongKey();
LinkEnd WifiOff(bool hasRadio);

// How a network in the air is secured.
struct NetworkSecurity {
    bool needsKey = false;
    bool allowsPsk = false;
    bool allowsSae = false;
};

// Why a station with this configuration cannot join such a network; none when it can try.
std::optional<LinkEnd> MismatchOf(const WifiDeviceConfig& config, const NetworkSecurity& security);

class Station {
public:
    enum class State {
        IDLE,            // no attempt yet
        SEARCHING,       // until a network is seen that the attempt can join
        JOIN_REQUESTED,  // the radio may still be leaving its network of before
        JOINING,         // the radio authenticates with the hotspot
        OBTAINING_ADDRESS,
        CONNECTED,
        FAILED,        // ended before it was connected
        DISCONNECTED,  // ended after it was connected
    };

    // Where the latest attempt stood when it was asked for.
    struct Join {
        uint32_t attempt = 0;
        State state = State::IDLE;
        WifiDeviceConfig config;                  // with its key
        std::chrono::microseconds searchLeft{0};  // no join may begin any more at 0
        bool IsUnderWay() const { return state >= State::SEARCHING && state <= State::CONNECTED; }
    };

    // clock: of the search limit.
    explicit Station(const Clock& clock = Clock::System()) : clock_(clock) {}

    WifiLinkInfo LinkInfo() const;
    // Blocks until the link differs from known in state or attempt, the limit has passed, or Stop(); returns what is.
    WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit);

    Join Current() const;
    // A new attempt is SEARCHING from now on: its number. None after Stop().
    std::optional<uint32_t> Begin(const WifiDeviceConfig& config, std::chrono::milliseconds searchLimit);
    // The attempt is in a state before CONNECTED now. False when it is not the latest, or has ended.
    bool Advance(uint32_t attempt, State state);
    // The attempt is CONNECTED now, and its network's hardware address stored before anybody sees that. Whether to
    // publish it: not when the attempt is not the latest, has ended, or after Stop().
    bool OnConnected(uint32_t attempt, const std::string& bssid, const std::string& address);
    // The attempt is FAILED now, or its connection DISCONNECTED: which one to publish; none in the cases of
    // OnConnected.
    std::optional<WifiLinkState> OnEnded(uint32_t attempt, const LinkEnd& end);
    // Ends all waits; nothing is reported any more, and the link info stays as it is.
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
