// AutoMode: decides when this device gets online through another one by itself, and when it goes off again. A state
// machine without threads, timers or calls: Online feeds it with the situation and the time (Clock::BootNow), and does
// what it answers. Not thread-safe.
#pragma once

#include <chrono>
#include <deque>
#include <optional>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"
#include "platform/network/network_monitor.h"

namespace Vexo::Host {

inline constexpr std::chrono::seconds AUTO_UP_AFTER{20};       // without any network
inline constexpr std::chrono::seconds AUTO_SCAN_INTERVAL{30};  // while online by automatic mode
inline constexpr std::chrono::hours AUTO_SUSPENDED_FOR{1};
inline constexpr std::chrono::hours AUTO_TRIES_COUNT_FOR{1};
inline constexpr size_t AUTO_MAX_TRIES = 6;              // within AUTO_TRIES_COUNT_FOR
inline constexpr uint8_t AUTO_OWN_NETWORK_PERCENT = 50;  // a saved network this strong, in so many scans, ends it
inline constexpr int AUTO_OWN_NETWORK_SCANS = 2;

class AutoMode {
public:
    enum class Act : uint8_t { NOTHING, BRING_UP, BRING_DOWN };
    struct Decision {
        Act act = Act::NOTHING;
        bool wantsScan = false;
        std::optional<SteadyTime> again{};  // ask again then, or when the situation changes; no value: then only
    };

    // Forgets all but the tries of the last hour.
    void Switch(bool isOn);
    bool IsOn() const { return isOn_; }

    // hasCandidate: there is a device that automatic mode may try. isBusy: an attempt of a program, or `down`, runs.
    Decision Update(const Network::NetworkSituation& situation, bool hasCandidate, bool isBusy, SteadyTime now);
    // An attempt of automatic mode has ended.
    void OnTried(bool isOnline, SteadyTime now);
    // A program got this device online: automatic mode does not end that.
    void OnOnlineByPerson() { isUpByAuto_ = false; }
    // The network of the other device is gone.
    void OnLost() { isUpByAuto_ = false; }
    // A person asked for `down`, or ended an attempt of automatic mode.
    void OnDownByPerson(SteadyTime now);

    AutoState State() const { return state_; }
    // SUSPENDED, EXHAUSTED: until when.
    std::optional<SteadyTime> Until() const;

private:
    void Suspend(SteadyTime now);
    Decision WhileJoined(const Network::NetworkSituation& situation, SteadyTime now);
    Decision WhileWithout(const Network::NetworkSituation& situation, bool hasCandidate, SteadyTime now);
    bool IsOwnNetworkBack(const Network::NetworkSituation& situation);

    bool isOn_ = false;
    AutoState state_ = AutoState::OFF;
    bool isUpByAuto_ = false;
    std::optional<bool> wasLeftByHand_;     // no value: not seen since the switch
    int failures_ = 0;                      // in a row, since this device had a network
    std::optional<SteadyTime> waitsSince_;  // without a network, or since the last try has failed
    std::optional<SteadyTime> suspendedUntil_;
    std::deque<SteadyTime> tries_;
    std::optional<SteadyTime> scannedAt_;
    uint32_t scan_ = 0;     // the last one that was counted
    int scansWithOwn_ = 0;  // scans in a row that saw a strong saved network
};

}  // namespace Vexo::Host
