#include "backends/linux/wifi_context.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "backends/linux/network_manager_profiles.h"
#include "backends/linux/share_guard.h"
#include "platform/base/awaited.h"
#include "platform/dfx/log.h"
#include "platform/dfx/sys_event.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxWifi"};
constexpr const char* DOMAIN = "NETMANAGER";

bool IsOn(ActivationState state)
{
    return state == ActivationState::ACTIVATING || state == ActivationState::ACTIVATED;
}

}  // namespace

void ReportShareClosed(const std::string& reason)
{
    QuviewDFX::LogInfo(LABEL, "closed the hotspot that this daemon opened: %{public}s", reason);
    QuviewDFX::QuSysEvent::Write(DOMAIN, "NET_SHARE_CLOSED", QuviewDFX::QuSysEvent::BEHAVIOR, "REASON", reason);
}

int32_t WifiContext::RunAndWait(std::function<int32_t()> work)
{
    const auto result = std::make_shared<Awaited<int32_t>>();
    const auto deadline = std::chrono::steady_clock::now() + WIFI_CALL_LIMIT;
    if (!strand.Post([result, work = std::move(work)] { result->Set(work()); })) {
        return Wifi::WIFI_FAILED;
    }
    return result->WaitUntil(deadline).value_or(Wifi::WIFI_NO_ANSWER);
}

void WifiContext::TakeBack(const NetworkChange& change)
{
    if (!change.activation.empty() && IsOn(manager.StateOf(change.activation))) {
        manager.Deactivate(change.activation);
    }
    if (change.isOurProfile) {
        // Found by its UUID, and deleted only with our mark: nobody else's profile can be meant.
        if (const Result<Profile> profile = manager.FindProfile(change.profile); profile && IsOurs(profile.Value())) {
            manager.Delete(profile.Value().path);
        }
    }
    own.Forget(change.profile);
}

void WifiContext::TakeBackAll()
{
    for (const NetworkChange& change : std::vector<NetworkChange>(own.Changes())) {
        const Result<std::string> path = change.activation.empty() ? Error{""} : manager.ProfileOf(change.activation);
        const Result<Profile> profile = path ? manager.ReadProfile(path.Value()) : Error{""};
        // Object paths are used again by the next NetworkManager.
        const bool isStillOn = profile && UuidOf(profile.Value()) == change.profile;
        NetworkChange left = change;
        if (!isStillOn) {
            left.activation.clear();
        }
        const bool wasShared = isStillOn && change.isHotspot && IsOn(manager.StateOf(change.activation));
        TakeBack(left);
        if (wasShared) {
            ReportShareClosed(ShareClosed::LEFT_OPEN);
        }
        Restore(change, "");
    }
    const Result<std::vector<Profile>> profiles = manager.Profiles();
    if (!profiles) {
        QuviewDFX::LogWarn(LABEL, "cannot look for what was left in NetworkManager: %{public}s", profiles.Message());
        return;
    }
    for (const Profile& profile : profiles.Value()) {
        if (IsOurs(profile)) {
            manager.Delete(profile.path);
            if (IsHotspotProfile(profile)) {
                ReportShareClosed(ShareClosed::LEFT_OPEN);
            }
        }
    }
}

void WifiContext::Restore(const NetworkChange& change, const std::string& radio)
{
    if (change.previous.empty()) {
        return;
    }
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    const Result<Profile> profile = manager.FindProfile(change.previous);
    if (!radios || !profile) {
        return;  // it, or NetworkManager, has gone meanwhile
    }
    const auto found = std::find_if(radios.Value().begin(), radios.Value().end(), [&](const WifiRadio& one) {
        const bool isFree = !one.IsActive() || (!one.activation.empty() && one.activation == change.activation);
        return isFree && (radio.empty() || one.path == radio);
    });
    if (found == radios.Value().end()) {
        return;
    }
    const Result<Activation> activated = manager.Activate(profile.Value().path, found->path);
    if (activated) {
        QuviewDFX::LogInfo(LABEL, "%{public}s goes back to the network that it had before", found->interface);
    } else {
        QuviewDFX::LogWarn(LABEL, "%{public}s does not go back to the network that it had before: %{public}s",
                           found->interface, activated.Message());
    }
}

std::string WifiContext::NetworkOf(const WifiRadio& radio) const
{
    if (!radio.IsStation() || radio.activation.empty()) {
        return "";
    }
    const Result<std::string> path = manager.ProfileOf(radio.activation);
    const Result<Profile> profile = path ? manager.ReadProfile(path.Value()) : Error{""};
    return profile && !IsOurs(profile.Value()) ? UuidOf(profile.Value()) : "";
}

}  // namespace Vexo::Linux
