#include "host/online/auto_mode.h"

#include <algorithm>

namespace Vexo::Host {

void AutoMode::Switch(bool isOn)
{
    const std::deque<SteadyTime> tries = std::move(tries_);
    *this = AutoMode();
    tries_ = tries;
    isOn_ = isOn;
    state_ = isOn ? AutoState::WATCHING : AutoState::OFF;
}

void AutoMode::Suspend(SteadyTime now)
{
    isUpByAuto_ = false;
    if (isOn_) {
        suspendedUntil_ = now + AUTO_SUSPENDED_FOR;
        state_ = AutoState::SUSPENDED;
    }
}

void AutoMode::OnDownByPerson(SteadyTime now)
{
    Suspend(now);
}

void AutoMode::OnAttemptEnded(bool isOnline, SteadyTime now)
{
    isUpByAuto_ = isOnline;
    failures_ = isOnline ? 0 : failures_ + 1;
    waitsSince_ = now;
    scannedAt_.reset();
    scansWithOwn_ = 0;
    if (isOn_ && state_ == AutoState::TRYING) {
        state_ = isOnline ? AutoState::ONLINE : AutoState::WAITING;
    }
}

std::optional<SteadyTime> AutoMode::Until() const
{
    if (state_ == AutoState::SUSPENDED) {
        return suspendedUntil_;
    }
    return state_ == AutoState::EXHAUSTED && !tries_.empty() ? std::optional(tries_.front() + AUTO_TRIES_COUNT_FOR)
                                                             : std::nullopt;
}

AutoMode::Decision AutoMode::Update(const Network::NetworkSituation& situation, bool hasCandidate, bool isBusy,
                                    SteadyTime now)
{
    const bool hasJustLeft = situation.wasDisconnectedByUser && !wasDisconnectedByUser_.value_or(true);
    wasDisconnectedByUser_ = situation.wasDisconnectedByUser;
    if (!isOn_ || state_ == AutoState::TRYING) {
        return {};
    }
    if (hasJustLeft) {
        Suspend(now);
    }
    if (suspendedUntil_ && ((situation.hasNetwork && !situation.isJoinedHere) || now >= *suspendedUntil_)) {
        suspendedUntil_.reset();
    }
    if (situation.hasNetwork) {
        waitsSince_.reset();
        failures_ = 0;
    } else if (!waitsSince_) {
        waitsSince_ = now;
    }
    if (suspendedUntil_) {
        state_ = AutoState::SUSPENDED;
        return {.again = suspendedUntil_};
    }
    if (isBusy) {
        return {};
    }
    if (isUpByAuto_) {  // stays true until OnLost is called, because the situation may be outdated
        state_ = AutoState::ONLINE;
        return WhileJoined(situation, now);
    }
    if (situation.hasNetwork) {
        state_ = situation.isJoinedHere ? AutoState::ONLINE : AutoState::WATCHING;
        return {};
    }
    return WhileWithout(situation, hasCandidate, now);
}

bool AutoMode::IsOwnNetworkBack(const Network::NetworkSituation& situation)
{
    if (situation.hasOwnWire) {
        return true;
    }
    if (situation.scan != scan_) {
        scan_ = situation.scan;
        const bool isStrong = std::any_of(situation.inReach.begin(), situation.inReach.end(), [](const auto& saved) {
            return saved.strengthPercent >= AUTO_OWN_NETWORK_PERCENT;
        });
        scansWithOwn_ = isStrong ? scansWithOwn_ + 1 : 0;
    }
    return scansWithOwn_ >= AUTO_OWN_NETWORK_SCANS;
}

AutoMode::Decision AutoMode::WhileJoined(const Network::NetworkSituation& situation, SteadyTime now)
{
    if (!scannedAt_) {
        scan_ = situation.scan;  // scans from before the connection do not count
    }
    if (IsOwnNetworkBack(situation)) {
        isUpByAuto_ = false;
        return {.act = Act::BRING_DOWN};
    }
    const bool wantsScan = !scannedAt_ || now - *scannedAt_ >= AUTO_SCAN_INTERVAL;
    if (wantsScan) {
        scannedAt_ = now;
    }
    return {.wantsScan = wantsScan, .again = *scannedAt_ + AUTO_SCAN_INTERVAL};
}

AutoMode::Decision AutoMode::WhileWithout(const Network::NetworkSituation& situation, bool hasCandidate, SteadyTime now)
{
    std::erase_if(tries_, [now](SteadyTime tried) { return now - tried >= AUTO_TRIES_COUNT_FOR; });
    if (tries_.size() >= AUTO_MAX_TRIES) {
        state_ = AutoState::EXHAUSTED;
        return {.again = Until()};
    }
    if (!situation.isSessionActive) {
        state_ = AutoState::WATCHING;
        return {};
    }
    state_ = AutoState::WAITING;
    // Each failure doubles the wait. With a constant wait, all attempts that are allowed in an hour would be used up
    // within minutes.
    const SteadyTime due = *waitsSince_ + AUTO_UP_AFTER * (1 << std::min<int>(failures_, AUTO_MAX_TRIES));
    if (now < due || !hasCandidate) {
        return {.again = std::max(due, now + AUTO_UP_AFTER / 4)};
    }
    tries_.push_back(now);
    state_ = AutoState::TRYING;
    return {.act = Act::BRING_UP};
}

}  // namespace Vexo::Host
