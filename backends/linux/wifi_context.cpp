#include "backends/linux/wifi_context.h"

#include <algorithm>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "backends/linux/network_manager_profiles.h"
#include "platform/base/check.h"
#include "platform/base/mutex.h"
#include "platform/dfx/log.h"
#include "platform/wifi/share_closed.h"
#include "platform/wifi/share_control.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxWifi"};
constexpr std::chrono::milliseconds STATE_POLL_PERIOD{50};

bool IsOn(ActivationState state)
{
    return state == ActivationState::ACTIVATING || state == ActivationState::ACTIVATED;
}

// The result of a call whose caller waits only for a limited time. Either the caller gets the result, or Answer returns
// false.
class LimitedCall {
public:
    // Stores the result and wakes the caller. Returns false if the caller has stopped waiting.
    bool Answer(int32_t result)
    {
        MutexLock lock(mutex_);
        result_ = result;
        answered_.NotifyAll();
        return !wasLeft_;
    }
    bool IsAbandoned()
    {
        MutexLock lock(mutex_);
        return wasLeft_;
    }
    int32_t WaitFor(std::chrono::milliseconds budget)
    {
        MutexLock lock(mutex_);
        answered_.WaitFor(mutex_, budget, [this]() REQUIRES(mutex_) { return result_.has_value(); });
        wasLeft_ = !result_;
        return result_.value_or(Wifi::WIFI_NO_ANSWER);
    }

private:
    Mutex mutex_;
    CondVar answered_;
    std::optional<int32_t> result_ GUARDED_BY(mutex_);
    bool wasLeft_ GUARDED_BY(mutex_) = false;
};

}  // namespace

int32_t WifiContext::RunAndWait(std::chrono::milliseconds budget, std::function<int32_t(Deadline)> work,
                                std::function<void()> undo)
{
    DISTNET_ASSERT(!strand.RunsOnThisThread(), "not called on the Wi-Fi strand, which it waits for");
    const auto call = std::make_shared<LimitedCall>();
    const Deadline deadline = timers.Now() + budget;
    const bool isPosted = strand.Post([call, deadline, work = std::move(work), undo = std::move(undo)] {
        if (call->IsAbandoned()) {
            return;
        }
        const int32_t result = work(deadline);
        if (!call->Answer(result) && result == Wifi::WIFI_OK && undo) {
            undo();
        }
    });
    return isPosted ? call->WaitFor(budget) : Wifi::WIFI_FAILED;
}

bool WifiContext::WaitFor(const std::string& activation, ActivationState state, Deadline deadline) const
{
    DISTNET_ASSERT(!strand.RunsOnThisThread(), "not called on the Wi-Fi strand, which it waits for");
    while (timers.Now() < deadline) {
        const Result<ActivationState> now = manager.Until(deadline).StateOf(activation);
        if (now && (now.value() == state || now.value() == ActivationState::GONE)) {
            return now.value() == state;
        }
        std::this_thread::sleep_for(STATE_POLL_PERIOD);
    }
    return false;
}

bool WifiContext::Leave(const NetworkChange& change)
{
    DISTNET_ASSERT(strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    const auto leave = [&] {
        if (!change.activation.empty()) {
            const Result<ActivationState> state = manager.StateOf(change.activation);
            if (!state || (IsOn(state.value()) && !manager.Deactivate(change.activation))) {
                return false;
            }
        }
        if (!change.isOurProfile) {
            return true;
        }
        // The profile is deleted only if it has our mark, so that no profile of the user is deleted.
        const Result<Profile> profile = manager.FindProfile(change.profile);
        if (!profile) {
            return !IsNoAnswer(profile.error());
        }
        return !IsOurs(profile.value()) || manager.Delete(profile.value().path);
    };
    if (leave()) {
        return true;
    }
    UndoLater(change);
    return false;
}

bool WifiContext::Undo(const NetworkChange& change)
{
    if (!Leave(change)) {
        return false;
    }
    networkChanges.Forget(change.profile);
    return true;
}

void WifiContext::UndoLater(NetworkChange change)
{
    DISTNET_ASSERT(strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    QuviewDFX::LogWarn(LABEL, "NetworkManager does not answer: the changes of profile %{public}s are undone later",
                       change.profile);
    change.mustUndo = true;
    networkChanges.Record(change);
    timer_.Cancel();
    timer_ = timers.RunAfter(answerLimit_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->strand.Post([self] { self->UndoUnanswered(); });
        }
    });
}

void WifiContext::UndoUnanswered()
{
    for (const NetworkChange& change : std::vector<NetworkChange>(networkChanges.Pending())) {
        // If NetworkManager does not run, UndoAll undoes the change when NetworkManager starts again.
        if (change.mustUndo && isRunning) {
            UndoRemaining(change);
        }
    }
}

Result<std::string> WifiContext::ActivationLeft(const NetworkChange& change) const
{
    // An empty path normally means that there is no activation. But if the call to activate got no reply (mustUndo), an
    // activation may exist, and only the profile identifies it.
    if (change.activation.empty() && !change.mustUndo) {
        return std::string();
    }
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    if (!radios) {
        return Failure(radios.error());
    }
    for (const WifiRadio& radio : radios.value()) {
        if (radio.activation.empty() || (!change.activation.empty() && radio.activation != change.activation)) {
            continue;
        }
        // The profile is compared too, because NetworkManager uses the same object paths again after a restart.
        const Result<Profile> profile = manager.ProfileInUse(radio.activation);
        if (profile && UuidOf(profile.value()) == change.profile) {
            return radio.activation;
        }
        if (!profile && IsNoAnswer(profile.error())) {
            return Failure(profile.error());
        }
    }
    return std::string();
}

void WifiContext::UndoRemaining(const NetworkChange& change)
{
    const Result<std::string> activation = ActivationLeft(change);
    if (!activation) {
        UndoLater(change);
        return;
    }
    NetworkChange left = change;
    left.activation = activation.value();
    const bool wasShared = change.isHotspot && !left.activation.empty() && !change.isEndReported;
    if (!Undo(left)) {
        return;
    }
    if (wasShared) {
        Wifi::ReportShareClosed(Wifi::ShareClosed::LEFT_OPEN);
    }
    Restore(change, "");
}

void WifiContext::UndoAll()
{
    DISTNET_ASSERT(strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    for (const NetworkChange& change : std::vector<NetworkChange>(networkChanges.Pending())) {
        UndoRemaining(change);
    }
    const Result<std::vector<Profile>> profiles = manager.Profiles();
    if (!profiles) {
        QuviewDFX::LogWarn(LABEL, "cannot list the profiles that an earlier run may have left: %{public}s",
                           profiles.error().message);
        return;
    }
    for (const Profile& profile : profiles.value()) {
        if (IsOurs(profile) && manager.Delete(profile.path) && IsHotspotProfile(profile)) {
            Wifi::ReportShareClosed(Wifi::ShareClosed::LEFT_OPEN);
        }
    }
}

std::string WifiContext::Restore(const NetworkChange& change, const std::string& radio)
{
    DISTNET_ASSERT(strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    if (change.previous.empty()) {
        return "";
    }
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    const Result<Profile> profile = manager.FindProfile(change.previous);
    if ((!radios && IsNoAnswer(radios.error())) || (!profile && IsNoAnswer(profile.error()))) {
        UndoLater(change);
        return "";
    }
    if (!radios || !profile) {
        return "";  // the profile was removed, or NetworkManager replied with an error
    }
    const auto found = std::find_if(radios.value().begin(), radios.value().end(), [&](const WifiRadio& one) {
        const bool isFree = !one.IsActive() || (!one.activation.empty() && one.activation == change.activation);
        return isFree && (radio.empty() || one.path == radio);
    });
    if (found == radios.value().end()) {
        return "";
    }
    const Result<Activation> activated = manager.Activate(profile.value().path, found->path);
    if (!activated) {
        QuviewDFX::LogWarn(LABEL, "cannot reconnect %{public}s to its previous network: %{public}s", found->interface,
                           activated.error().message);
        return "";
    }
    QuviewDFX::LogInfo(LABEL, "reconnecting %{public}s to its previous network", found->interface);
    return activated.value().path;
}

Result<std::string> NetworkOf(const NetworkManager& manager, const WifiRadio& radio)
{
    if (!radio.IsStation() || radio.activation.empty()) {
        return std::string();
    }
    const Result<Profile> profile = manager.ProfileInUse(radio.activation);
    if (!profile && IsNoAnswer(profile.error())) {
        return Failure(profile.error());
    }
    return profile && !IsOurs(profile.value()) ? UuidOf(profile.value()) : std::string();
}

}  // namespace Vexo::Linux
