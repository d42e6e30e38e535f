// AutoMode: decides when this device gets online through another device by itself, and when it leaves that device's
// network again. AutoMode is a state machine without threads, timers or calls. Online (online.h) passes the network
// situation and the time (Clock::BootNow) to AutoMode, and carries out the decisions. Not thread-safe.
#pragma once

#include <chrono>
#include <deque>
#include <optional>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"
#include "platform/network/network_monitor.h"

namespace Vexo::Host {

inline constexpr std::chrono::seconds AUTO_UP_AFTER{20};       // how long this device has no network before an attempt
inline constexpr std::chrono::seconds AUTO_SCAN_INTERVAL{30};  // between scans while automatic mode is online
inline constexpr std::chrono::hours AUTO_SUSPENDED_FOR{1};
inline constexpr std::chrono::hours AUTO_TRIES_COUNT_FOR{1};
inline constexpr size_t AUTO_MAX_TRIES = 6;  // maximum number of attempts within AUTO_TRIES_COUNT_FOR
// A saved network of the user counts as available again after AUTO_OWN_NETWORK_SCANS consecutive scans have each seen a
// saved network with a strength of at least AUTO_OWN_NETWORK_PERCENT.
inline constexpr uint8_t AUTO_OWN_NETWORK_PERCENT = 50;
inline constexpr int AUTO_OWN_NETWORK_SCANS = 2;

class AutoMode {
public:
    enum class Act : uint8_t { NOTHING, BRING_UP, BRING_DOWN };
    struct Decision {
        Act act = Act::NOTHING;
        bool wantsScan = false;
        // When to call Update again, unless the situation changes first; no value: only when the situation changes.
        std::optional<SteadyTime> again{};
    };

    // Switches automatic mode on or off. Resets the state, but remembers the attempts of the last hour.
    void Switch(bool isOn);
    bool IsOn() const { return isOn_; }

    // Returns the decision for this situation. hasCandidate: true if at least one device is known that can be tried.
    // isBusy: true while an attempt or `distnetctl down` runs.
    Decision Update(const Network::NetworkSituation& situation, bool hasCandidate, bool isBusy, SteadyTime now);
    // Call when an attempt that automatic mode began has ended.
    void OnAttemptEnded(bool isOnline, SteadyTime now);
    // Call when a program got this device online. Automatic mode then does not end that connection.
    void OnOnlineByProgram() { isUpByAuto_ = false; }
    // Call when this device has lost the other device's network.
    void OnLost() { isUpByAuto_ = false; }
    // Call when a person requested `distnetctl down`, or cancelled an attempt of automatic mode. Suspends automatic
    // mode.
    void OnDownByPerson(SteadyTime now);

    AutoState State() const { return state_; }
    // Returns when the state SUSPENDED or EXHAUSTED ends, or no value in other states.
    std::optional<SteadyTime> Until() const;

private:
    void Suspend(SteadyTime now);
    Decision WhileJoined(const Network::NetworkSituation& situation, SteadyTime now);
    Decision WhileWithout(const Network::NetworkSituation& situation, bool hasCandidate, SteadyTime now);
    bool IsOwnNetworkBack(const Network::NetworkSituation& situation);

    bool isOn_ = false;
    AutoState state_ = AutoState::OFF;
    bool isUpByAuto_ = false;
    std::optional<bool>
        wasDisconnectedByUser_;             // the latest NetworkSituation::wasDisconnectedByUser since Switch, if any
    int failures_ = 0;                      // consecutive failed attempts since this device had a network
    std::optional<SteadyTime> waitsSince_;  // when this device lost its network, or when the last attempt ended
    std::optional<SteadyTime> suspendedUntil_;
    std::deque<SteadyTime> tries_;
    std::optional<SteadyTime> scannedAt_;
    uint32_t scan_ = 0;     // number of the last scan that was counted
    int scansWithOwn_ = 0;  // consecutive scans that saw a strong saved network
};

}  // namespace Vexo::Host
