#include "backends/linux/wifi_device.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "platform/base/check.h"
#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/wifi/wifi_budgets.h"
#include "platform/wifi/wifi_config.h"

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;
namespace JoinFailure = Wifi::JoinFailure;
using Wifi::LinkEnd;
using Wifi::Station;
using Wifi::WifiLinkState;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxStation"};
constexpr milliseconds REASON_DELAY{200};
constexpr milliseconds ADDRESS_DELAY{200};
constexpr int MAX_REFUSALS = 2;

// Returns how the attempt ends if a retry cannot succeed. Returns nullopt if a retry may succeed.
std::optional<LinkEnd> LastingCauseOf(NmReason reason)
{
    switch (reason) {
        case NmReason::NO_SECRETS:
            return Wifi::WrongKey();
        case NmReason::CONFIG_UNAVAILABLE:
        case NmReason::CONFIG_EXPIRED:
        case NmReason::DHCP_START_FAILED:
        case NmReason::DHCP_ERROR:
        case NmReason::DHCP_FAILED:
            return LinkEnd{JoinFailure::NO_IP_ADDRESS, "no address"};
        case NmReason::USER_REQUESTED:
        case NmReason::CONNECTION_REMOVED:
            return LinkEnd{JoinFailure::ENDED_HERE, "disconnected by somebody at this device"};
        case NmReason::NEW_ACTIVATION:
            return LinkEnd{JoinFailure::ENDED_HERE, "this device changed to another network"};
        case NmReason::SLEEPING:
            return LinkEnd{JoinFailure::ENDED_HERE, "this device went to sleep"};
        default:
            return std::nullopt;
    }
}

// Whether a person chose another network or none. If so, the previous network is not restored.
bool IsUsersChoice(NmReason reason)
{
    return reason == NmReason::USER_REQUESTED || reason == NmReason::NEW_ACTIVATION;
}

// Returns the name of the security that the beacon offers. Returns an empty text if the beacon offers WPA2 and WPA3,
// because the driver chooses between them.
std::string SecurityName(const Wifi::NetworkSecurity& security)
{
    if (!security.needsKey) {
        return "open";
    }
    return security.allowsPsk == security.allowsSae ? "" : security.allowsSae ? "WPA3" : "WPA2";
}

std::chrono::seconds BootClock()
{
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec);
}

}  // namespace

LinuxWifiDevice::LinuxWifiDevice(std::shared_ptr<WifiContext> context, const StationOptions& options, LinkEnded ended)
    : context_(std::move(context)), options_(options), ended_(std::move(ended)), station_(context_->timers)
{
}

LinuxWifiDevice::~LinuxWifiDevice()
{
    DISTNET_ASSERT(station_.IsStopped(), "Stop() is called before the last reference is released");
}

int32_t LinuxWifiDevice::GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool isCandidate)
{
    const TraceSpan span(SpanName::WIFI_CONFIGS);
    configs = station_.configs.List(isCandidate);
    return Wifi::WIFI_OK;
}

int32_t LinuxWifiDevice::AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int& networkId, bool isCandidate)
{
    const TraceSpan span(SpanName::WIFI_ADD);
    if (const int32_t invalid = Wifi::CheckConfig(config); invalid != Wifi::WIFI_OK) {
        return invalid;
    }
    networkId = station_.configs.Add(config, isCandidate);
    return Wifi::WIFI_OK;
}

int32_t LinuxWifiDevice::ConnectToDevice(const Wifi::WifiDeviceConfig& config)
{
    const TraceSpan span(SpanName::WIFI_CONNECT);
    const Wifi::WifiDeviceConfig wanted = station_.configs.Resolve(config);
    if (const int32_t invalid = Wifi::CheckConfig(wanted); invalid != Wifi::WIFI_OK) {
        return invalid;
    }
    const sptr<LinuxWifiDevice> self(this);
    return context_->RunAndWait(
        Wifi::CONNECT_BUDGET, [self, wanted](WifiContext::Deadline deadline) { return self->Begin(wanted, deadline); },
        [self] {
            self->End({JoinFailure::RADIO_FAILED, "NetworkManager answered too late"});
        });
}

int32_t LinuxWifiDevice::Begin(const Wifi::WifiDeviceConfig& config, WifiContext::Deadline deadline)
{
    const NetworkManager manager = context_->manager.Until(deadline);
    const Result<bool> isEnabled = manager.IsWifiEnabled();
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    if (!context_->isRunning || !isEnabled || !radios) {
        return Wifi::WIFI_NO_ANSWER;
    }
    if (!isEnabled.value()) {
        return Wifi::WIFI_DISABLED;
    }
    const auto& all = radios.value();
    const auto radio = std::find_if(all.begin(), all.end(), [](const WifiRadio& one) { return !one.IsHotspot(); });
    if (radio == all.end()) {
        return all.empty() ? Wifi::WIFI_NOT_SUPPORTED : Wifi::WIFI_FAILED;
    }
    const bool wasTaken = attempt_ && attempt_->hasTakenRadio;
    Result<std::string> previous = wasTaken ? attempt_->change.previous : NetworkOf(manager, *radio);
    if (!previous || context_->timers.Now() >= deadline) {
        return Wifi::WIFI_NO_ANSWER;
    }
    const Station::Join replaced = station_.Current();
    if (!station_.Begin(config, options_.searchLimit)) {
        return Wifi::WIFI_FAILED;
    }
    Attempt next;
    next.radio = radio->path;
    next.interface = radio->interface;
    if (radio->IsStation()) {
        // A connected radio scans at most every 10 s. A hotspot that is just opening may not be visible yet, so the
        // first scan is delayed.
        next.nextScan = context_->timers.Now() + options_.checkPeriod;
    }
    next.begunAt = BootClock();
    if (attempt_) {
        next.change = attempt_->change;
        next.hasTakenRadio = wasTaken;
        next.isJoinUndone = attempt_->isJoinUndone;
        if (replaced.config.ssid != config.ssid || replaced.config.keyMgmt != config.keyMgmt) {
            station_.configs.Remove(replaced.config);
        }
    }
    next.change.previous = std::move(previous.value());
    attempt_ = std::move(next);
    wasDisconnectedByUser_ = false;
    QuviewDFX::LogInfo(LABEL, "looking for \"%{public}s\" on %{public}s", config.ssid, radio->interface);
    // The join of the replaced attempt is undone after this function has returned its result to the caller.
    context_->strand.Post([self = sptr<LinuxWifiDevice>(this)] { self->LeaveJoined(); });
    CheckAgainIn(milliseconds(0));
    return Wifi::WIFI_OK;
}

void LinuxWifiDevice::CheckNetwork(Trigger trigger)
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    if (!attempt_) {
        return;
    }
    if (const Station::Join join = station_.Current(); join.state == Station::State::SEARCHING) {
        Search(join);
    } else {
        Follow(join, trigger);
    }
}

void LinuxWifiDevice::Search(const Station::Join& join)
{
    const Result<std::vector<AccessPoint>> visible = context_->manager.AccessPoints(attempt_->radio);
    if (const Result<bool> isEnabled = context_->manager.IsWifiEnabled(); isEnabled && !isEnabled.value()) {
        End(Wifi::WifiOff(true));
        return;
    }
    if (!visible && HasLostRadio()) {
        End(Wifi::WifiOff(false));
        return;
    }
    const std::vector<AccessPoint> seen = visible ? visible.value() : std::vector<AccessPoint>();
    const bool isLate = join.searchLeft.count() == 0;
    const AccessPoint* best = nullptr;
    std::optional<LinkEnd> mismatch;
    for (const AccessPoint& one : seen) {
        if (one.ssid != join.config.ssid) {
            continue;
        }
        std::optional<LinkEnd> reason = Wifi::MismatchOf(join.config, one.security);
        if (!reason) {
            best = best == nullptr || one.strengthPercent > best->strengthPercent ? &one : best;
        } else if (isLate || one.lastSeen >= attempt_->begunAt) {
            // An access point that was last seen before the attempt may be an earlier hotspot with the same SSID. So
            // its mismatch counts only when the time for the search is over.
            mismatch = std::move(reason);
        }
    }
    if (best != nullptr) {
        Join(join, *best);
    } else if (mismatch) {
        End(*mismatch);
    } else if (isLate) {
        End(Wifi::NotVisible(join.config.ssid));
    } else {
        Scan();
        CheckAgainIn(std::min(std::chrono::ceil<milliseconds>(join.searchLeft), options_.checkPeriod));
    }
}

bool LinuxWifiDevice::HasLostRadio() const
{
    const Result<std::vector<WifiRadio>> radios = context_->manager.Radios();
    return radios && std::none_of(radios.value().begin(), radios.value().end(),
                                  [this](const WifiRadio& one) { return one.path == attempt_->radio; });
}

void LinuxWifiDevice::Scan()
{
    // Nothing waits for the scan here: OnChanged is called when the scan has ended.
    if (const auto now = context_->timers.Now(); now >= attempt_->nextScan) {
        attempt_->nextScan = now + options_.checkPeriod;
        context_->manager.RequestScan(attempt_->radio);
    }
}

void LinuxWifiDevice::Join(const Station::Join& join, const AccessPoint& accessPoint)
{
    Attempt& attempt = *attempt_;
    LeaveJoined();
    const std::string left = std::exchange(attempt.change.profile, MakeUuid());
    attempt.change.activation.clear();
    attempt.change.isOurProfile = true;
    attempt.reason = NmReason::NONE;
    attempt.bssid = accessPoint.bssid;
    attempt.security = accessPoint.security;
    context_->networkChanges.Record(attempt.change);
    if (std::exchange(attempt.isJoinUndone, true)) {
        context_->networkChanges.Forget(left);
    }
    const Result<Activation> joining = context_->manager.AddAndActivate(
        MakeStationProfile(attempt.change.profile, join.config, accessPoint), attempt.radio, accessPoint.path);
    if (!joining) {
        // Only the error's name is shown, because error messages may repeat the request, which contains the Wi-Fi key.
        const std::string name = BusErrorName(joining.error());
        QuviewDFX::LogWarn(LABEL, "NetworkManager refuses to join: %{public}s", name);
        if (IsNoAnswer(joining.error())) {
            attempt.hasTakenRadio = true;
            attempt.isJoinUndone = false;
            context_->UndoLater(attempt.change);
        }
        if (++attempt.refusals >= MAX_REFUSALS || station_.Current().searchLeft.count() == 0) {
            End({JoinFailure::RADIO_FAILED, "NetworkManager refuses: " + name});
        } else {
            SearchAgain();
        }
        return;
    }
    attempt.change.activation = joining.value().path;
    attempt.hasTakenRadio = true;
    attempt.joiningSince = context_->timers.Now();
    station_.Advance(join.attempt, Station::State::JOIN_REQUESTED);
    context_->networkChanges.Record(attempt.change);
    CheckAgainIn(options_.checkPeriod);
}

void LinuxWifiDevice::Follow(const Station::Join& join, Trigger trigger)
{
    const Result<ActivationState> state = context_->manager.StateOf(attempt_->change.activation);
    if (!state) {
        CheckAgainIn(options_.checkPeriod, trigger);
        return;
    }
    const bool isConnected = join.state == Station::State::CONNECTED;
    switch (state.value()) {
        case ActivationState::ACTIVATED:
            if (!isConnected) {
                OnActivated(join);
            }
            break;
        case ActivationState::DEACTIVATING:
        case ActivationState::GONE:
            // The signal that gives the reason may still wait on the strand. The work of this timer is queued behind
            // that signal.
            if (attempt_->reason == NmReason::NONE && trigger != Trigger::REASON_DELAY_OVER) {
                CheckAgainIn(REASON_DELAY, Trigger::REASON_DELAY_OVER);
            } else {
                OnDeactivated(join);
            }
            break;
        default:
            if (IsJoinOverdue()) {
                End({JoinFailure::NO_ANSWER, "the hotspot does not answer"});
            } else if (!isConnected) {
                CheckAgainIn(options_.checkPeriod);
            }
    }
}

void LinuxWifiDevice::OnActivated(const Station::Join& join)
{
    const Result<Ip4Lease> lease = context_->manager.LeaseOf(attempt_->radio);
    if (!lease || lease.value().address.empty()) {
        station_.Advance(join.attempt, Station::State::OBTAINING_ADDRESS);
        if (IsJoinOverdue()) {
            End({JoinFailure::NO_IP_ADDRESS, "no address"});
        } else {
            CheckAgainIn(ADDRESS_DELAY);
        }
        return;
    }
    timer_.Cancel();
    {
        // connected_ is set before OnConnected, because a caller that sees the state CONNECTED may call Joined at once.
        const MutexLock lock(mutex_);
        connected_ = Connected{attempt_->radio, {}};
        Wifi::JoinedNetwork& network = connected_->network;
        network.attempt = join.attempt;
        network.ssid = join.config.ssid;
        network.security = SecurityName(attempt_->security);
        network.interface = attempt_->interface;
        network.address = lease.value().address;
    }
    if (station_.OnConnected(join.attempt, attempt_->bssid, lease.value().address)) {
        ended_(WifiLinkState::CONNECTED);
    }
}

void LinuxWifiDevice::OnDeactivated(const Station::Join& join)
{
    const NmReason reason = attempt_->reason;
    const std::string& ssid = join.config.ssid;
    const std::optional<LinkEnd> cause = LastingCauseOf(reason);
    if (join.state == Station::State::CONNECTED || cause) {
        End(cause.value_or(Wifi::HotspotGone()));
    } else if (join.searchLeft.count() > 0) {
        QuviewDFX::LogInfo(LABEL, "\"%{public}s\" did not let this device in (reason %{public}u); retrying", ssid,
                           static_cast<uint32_t>(reason));
        station_.Advance(join.attempt, Station::State::SEARCHING);
        LeaveJoined();
        SearchAgain();
    } else if (reason == NmReason::SSID_NOT_FOUND && !WasHeardWhileJoining(ssid)) {
        End(Wifi::NotVisible(ssid));
    } else {
        End({JoinFailure::NOT_ADMITTED, "the hotspot does not let this device in; most often the key is wrong"});
    }
}

bool LinuxWifiDevice::IsJoinOverdue() const
{
    return context_->timers.Now() - attempt_->joiningSince > options_.joinLimit;
}

bool LinuxWifiDevice::WasHeardWhileJoining(const std::string& ssid) const
{
    const auto tried = std::chrono::floor<std::chrono::seconds>(context_->timers.Now() - attempt_->joiningSince);
    const std::chrono::seconds since = BootClock() - tried;
    const Result<std::vector<AccessPoint>> visible = context_->manager.AccessPoints(attempt_->radio);
    return visible && std::any_of(visible.value().begin(), visible.value().end(),
                                  [&](const AccessPoint& one) { return one.ssid == ssid && one.lastSeen > since; });
}

void LinuxWifiDevice::SearchAgain()
{
    Scan();
    CheckAgainIn(options_.checkPeriod);
}

void LinuxWifiDevice::OnRadioState(const std::string& radio, uint32_t state, NmReason reason)
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    const Station::Join join = station_.Current();
    if (!attempt_ || join.state == Station::State::SEARCHING || radio != attempt_->radio) {
        return;
    }
    const bool isRequested = join.state == Station::State::JOIN_REQUESTED;
    if (isRequested && reason == NmReason::NEW_ACTIVATION) {
        return;  // this attempt itself ended the radio's connection
    }
    // The reason of NM_STATE_FAILED is kept, because the states after a failure have less exact reasons.
    if (state == NM_STATE_PREPARE) {
        if (isRequested) {
            station_.Advance(join.attempt, Station::State::JOINING);
        }
        attempt_->reason = NmReason::NONE;
    } else if (state == NM_STATE_FAILED ||
               (state != NM_STATE_ACTIVATED && (state <= NM_STATE_DISCONNECTED || state > NM_STATE_ACTIVATED) &&
                attempt_->reason == NmReason::NONE)) {
        attempt_->reason = reason;
    }
}

void LinuxWifiDevice::OnNetworkManagerStopped()
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    if (!attempt_) {
        return;
    }
    // End must not undo the change while NetworkManager is stopped. The change stays in the list of recorded changes,
    // so UndoAll undoes it when NetworkManager runs again.
    attempt_->change = {};
    End({JoinFailure::RADIO_FAILED, "NetworkManager has stopped"});
}

void LinuxWifiDevice::LeaveJoined()
{
    // The change stays recorded until the attempt ends, because the network that the radio had before is restored only
    // then.
    if (attempt_ && station_.Current().state == Station::State::SEARCHING && !attempt_->change.activation.empty()) {
        attempt_->isJoinUndone = context_->Leave(attempt_->change);
        attempt_->change.activation.clear();
    }
}

LinuxWifiDevice::Freed LinuxWifiDevice::End(const LinkEnd& end)
{
    timer_.Cancel();
    Attempt ended = std::move(*attempt_);
    attempt_.reset();
    wasDisconnectedByUser_ = ended.hasTakenRadio && ended.reason == NmReason::USER_REQUESTED;
    const Station::Join join = station_.Current();
    const std::optional<WifiLinkState> state = station_.OnEnded(join.attempt, end);
    station_.configs.Remove(join.config);
    if (!ended.hasTakenRadio || IsUsersChoice(ended.reason)) {
        ended.change.previous.clear();
    }
    Freed freed;
    if (!ended.change.profile.empty()) {
        freed.isDone = ended.isJoinUndone && context_->Undo(ended.change);
        freed.activation = freed.isDone ? context_->Restore(ended.change, ended.radio) : "";
    }
    if (state) {
        ended_(*state);
    }
    return freed;
}

void LinuxWifiDevice::CheckAgainIn(milliseconds delay, Trigger trigger)
{
    timer_.Cancel();
    // A replaced timer may already have posted its work. That work then ignores the trigger.
    timer_ = context_->timers.RunAfter(delay, [self = sptr<LinuxWifiDevice>(this), trigger, number = ++timersSet_] {
        self->context_->strand.Post([self, trigger, number] {
            self->CheckNetwork(number == self->timersSet_ ? trigger : Trigger::CHANGE_OR_TIMER);
        });
    });
}

void LinuxWifiDevice::Stop()
{
    station_.Stop();
    context_->RunAndWait(WIFI_CALL_LIMIT, [self = sptr<LinuxWifiDevice>(this)](WifiContext::Deadline) -> int32_t {
        if (self->attempt_) {
            self->End({JoinFailure::ENDED_HERE, "this device stopped"});
        }
        return Wifi::WIFI_OK;
    });
}

}  // namespace Vexo::Linux
