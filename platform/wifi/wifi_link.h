// WifiLink: where a station's attempt, or the connection it became, stands, and the waits of those who want to know. A
// backend begins attempts and says how they go on; an attempt that a newer one replaced says nothing any more. Each
// attempt that fails is the system event NET_WIFI_JOIN_FAIL. Any thread; only WaitForChange blocks.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/mutex.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// Why a join failed: the REASON of NET_WIFI_JOIN_FAIL (docs/errors.md).
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

// The end of an attempt whose network is not in the air.
LinkEnd NotVisible(const std::string& ssid);

class WifiLink {
public:
    WifiLinkInfo Get();
    // Blocks until the link differs from known in state or attempt, the limit has passed, or Stop(); returns what is.
    WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit);

    // A new attempt is CONNECTING from now on: its number. None after Stop().
    std::optional<uint32_t> Begin(const std::string& ssid);
    // The attempt of that number is CONNECTED now. False, and nothing changes, when a newer one, or Stop(), came first.
    bool Connect(uint32_t attempt, const std::string& address);
    // The attempt of that number is FAILED now, and the event written, or its connection DISCONNECTED: which one. None,
    // and nothing changes, when a newer attempt, or Stop(), came first.
    std::optional<WifiLinkState> End(uint32_t attempt, const LinkEnd& end);
    // Ends all waits; nothing changes any more.
    void Stop();

private:
    bool IsCurrent(uint32_t attempt) const REQUIRES(mutex_) { return !stopped_ && info_.attempt == attempt; }

    Mutex mutex_;
    CondVar changed_;
    WifiLinkInfo info_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Wifi
