#include "backends/linux/wifi_hotspot.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/base/check.h"
#include "platform/base/files.h"
#include "platform/dfx/log.h"
#include "platform/dfx/trace.h"
#include "platform/wifi/share_closed.h"
#include "platform/wifi/wifi_budgets.h"
#include "platform/wifi/wifi_config.h"

namespace Vexo::Linux {
namespace {

namespace ShareClosed = Wifi::ShareClosed;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxHotspot"};
constexpr size_t MIN_KEY_BYTES = 8;
constexpr size_t MAX_KEY_BYTES = 63;
constexpr mode_t KEY_MODE = 0600;

Result<void> SaveKey(const std::filesystem::path& file, const std::string& key)
{
    return WriteFileAtomically(file, key + "\n", KEY_MODE);
}

// Whether the text is a complete key with its line break. A Wi-Fi passphrase may contain only printable ASCII.
bool IsWholeKeyLine(const std::string& text)
{
    return text.size() > MIN_KEY_BYTES && text.back() == '\n' &&
           std::all_of(text.begin(), text.end() - 1, [](char c) { return c >= ' ' && c <= '~'; });
}

// Returns the hotspot key of earlier runs, so that stations which know this key can join again. If there is none, or
// the file is damaged, returns a new key.
std::string LoadOrMakeKey(const std::filesystem::path& file)
{
    if (const Result<std::string> kept = ReadWholeFile(file, MAX_KEY_BYTES + 1)) {
        if (IsWholeKeyLine(kept.value())) {
            return kept.value().substr(0, kept.value().size() - 1);
        }
    }
    std::string key = Wifi::GenerateHotspotKey();
    if (const Result<void> written = SaveKey(file, key); !written) {
        QuviewDFX::LogWarn(LABEL, "cannot store the hotspot's key, which is lost at the next start: %{public}s",
                           written.error().message);
    }
    return key;
}

int32_t ResultOf(const Error& error)
{
    return IsNoAnswer(error) ? Wifi::WIFI_NO_ANSWER : Wifi::WIFI_FAILED;
}

}  // namespace

LinuxWifiHotspot::LinuxWifiHotspot(std::shared_ptr<WifiContext> context, HotspotOptions options)
    : context_(std::move(context)),
      options_(std::move(options)),
      generatedKey_(LoadOrMakeKey(options_.stateDir / HOTSPOT_KEY_FILE)),
      guard_(options_.limits)
{
}

LinuxWifiHotspot::~LinuxWifiHotspot()
{
    const MutexLock lock(mutex_);
    DISTNET_ASSERT(hasStopBegun_, "Stop() is called before the last reference is released");
}

int32_t LinuxWifiHotspot::IsHotspotActive(bool& isActive)
{
    const TraceSpan span(SpanName::HOTSPOT_STATE);
    MutexLock lock(mutex_);
    isActive = isOn_;
    return Wifi::WIFI_OK;
}

int32_t LinuxWifiHotspot::EnableHotspot(Wifi::ServiceType type)
{
    const TraceSpan span(SpanName::HOTSPOT_ENABLE);
    if (type != Wifi::ServiceType::DEFAULT) {
        return Wifi::WIFI_NOT_SUPPORTED;
    }
    const sptr<LinuxWifiHotspot> self(this);
    return context_->RunAndWait(
        Wifi::HOTSPOT_ENABLE_BUDGET, [self](WifiContext::Deadline deadline) { return self->Enable(deadline); },
        [self] {
            if (self->hasJustOpened_) {
                self->CloseOwn(ShareClosed::TOO_LATE);
            }
        });
}

int32_t LinuxWifiHotspot::DisableHotspot(Wifi::ServiceType type)
{
    const TraceSpan span(SpanName::HOTSPOT_DISABLE);
    if (type != Wifi::ServiceType::DEFAULT) {
        return Wifi::WIFI_NOT_SUPPORTED;
    }
    return context_->RunAndWait(WIFI_CALL_LIMIT,
                                [self = sptr<LinuxWifiHotspot>(this)](WifiContext::Deadline) -> int32_t {
                                    if (!self->CloseOwn(ShareClosed::ASKED)) {
                                        return Wifi::WIFI_NO_ANSWER;
                                    }
                                    bool isOn = false;
                                    self->IsHotspotActive(isOn);
                                    return isOn ? Wifi::WIFI_FAILED : Wifi::WIFI_OK;
                                });
}

int32_t LinuxWifiHotspot::GetHotspotConfig(Wifi::HotspotConfig& config)
{
    const TraceSpan span(SpanName::HOTSPOT_CONFIG);
    // This read runs on the caller's thread, because the strand is busy while a hotspot opens.
    Result<Wifi::HotspotConfig> read =
        ReadConfig(context_->manager.Until(context_->timers.Now() + Wifi::HOTSPOT_CONFIG_BUDGET));
    if (!read && IsNoAnswer(read.error())) {
        // NetworkManager may be busy opening the hotspot of this class, whose configuration is stored in opened_.
        const MutexLock lock(mutex_);
        if (opened_) {
            config = *opened_;
            return Wifi::WIFI_OK;
        }
    }
    if (!read) {
        QuviewDFX::LogWarn(LABEL, "cannot read the hotspot's configuration: %{public}s", read.error().message);
        return ResultOf(read.error());
    }
    config = std::move(read.value());
    return Wifi::WIFI_OK;
}

Result<Wifi::HotspotConfig> LinuxWifiHotspot::ReadConfig(const NetworkManager& manager) const
{
    Result<std::optional<Wifi::HotspotConfig>> inUse = ConfigInUse(manager);
    if (!inUse) {
        return Failure(std::move(inUse).error());
    }
    if (inUse.value()) {
        return std::move(*inUse.value());
    }
    Result<Chosen> chosen = Choose(manager);
    return chosen ? std::move(chosen.value().config) : Result<Wifi::HotspotConfig>(Failure(std::move(chosen).error()));
}

Result<std::optional<Wifi::HotspotConfig>> LinuxWifiHotspot::ConfigInUse(const NetworkManager& manager)
{
    const Result<std::vector<WifiRadio>> radios = manager.Radios();
    if (!radios) {
        return Failure(radios.error());
    }
    for (const WifiRadio& radio : radios.value()) {
        if (!radio.IsHotspot() || radio.activation.empty()) {
            continue;
        }
        const Result<Profile> profile = manager.ProfileInUse(radio.activation).and_then([&](Profile found) {
            return manager.WithSecrets(std::move(found));
        });
        if (!profile) {
            return Failure(profile.error());
        }
        Wifi::HotspotConfig config;
        if (!ReadHotspotConfig(profile.value(), config)) {
            return Fail(ErrorCode::NOT_FOUND,
                        "NetworkManager does not know how to join the hotspot on " + radio.interface);
        }
        return std::optional(std::move(config));
    }
    return std::optional<Wifi::HotspotConfig>();
}

Wifi::HotspotConfig LinuxWifiHotspot::MakeOwnConfig() const
{
    Wifi::HotspotConfig config;
    config.SetSsid(Wifi::MakeHotspotSsid(options_.deviceName, options_.networkId));
    config.SetSecurityType(options_.settings.security);
    const MutexLock lock(mutex_);
    config.SetPreSharedKey(options_.settings.security == Wifi::KeyMgmt::NONE ? "" : generatedKey_);
    return config;
}

Result<std::string> LinuxWifiHotspot::ChangeKey()
{
    const std::string key = Wifi::GenerateHotspotKey();
    if (Result<void> saved = SaveKey(options_.stateDir / HOTSPOT_KEY_FILE, key); !saved) {
        return Failure(std::move(saved).error());
    }
    {
        const MutexLock lock(mutex_);
        generatedKey_ = key;
    }
    context_->RunAndWait(WIFI_CALL_LIMIT, [self = sptr<LinuxWifiHotspot>(this)](WifiContext::Deadline) -> int32_t {
        if (self->isOpening_ || (self->share_ && self->share_->change.isOurProfile)) {
            self->CloseOwn(ShareClosed::KEY_CHANGED);
        }
        return Wifi::WIFI_OK;
    });
    const Result<Chosen> chosen = Choose(context_->manager);
    if (!chosen) {
        return Failure(chosen.error());
    }
    return chosen.value().usersOwn ? chosen.value().config.GetSsid() : std::string();
}

Result<LinuxWifiHotspot::Chosen> LinuxWifiHotspot::Choose(const NetworkManager& manager) const
{
    Result<std::vector<Profile>> profiles = manager.Profiles();
    if (!profiles) {
        return Failure(std::move(profiles).error());
    }
    std::vector<Profile>& candidates = profiles.value();
    std::erase_if(candidates, [](const Profile& one) { return !IsHotspotProfile(one) || IsOurs(one); });
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Profile& one, const Profile& other) { return LastUseOf(one) > LastUseOf(other); });
    for (Profile& candidate : candidates) {
        Chosen chosen;
        // Profiles whose key is not known are skipped, because no peer could join their hotspot.
        const Result<Profile> complete = manager.WithSecrets(candidate);
        if (!complete && IsNoAnswer(complete.error())) {
            return Failure(complete.error());
        }
        if (complete && ReadHotspotConfig(complete.value(), chosen.config)) {
            chosen.usersOwn = std::move(candidate);
            return chosen;
        }
    }
    return Chosen{std::nullopt, MakeOwnConfig()};
}

int32_t LinuxWifiHotspot::Enable(WifiContext::Deadline deadline)
{
    hasJustOpened_ = false;
    const NetworkManager manager = context_->manager.Until(deadline);
    const Result<bool> isEnabled = manager.IsWifiEnabled();
    Result<std::vector<WifiRadio>> radios = manager.Radios();
    if (isStopped_ || !context_->isRunning) {
        return Wifi::WIFI_FAILED;
    }
    if (!isEnabled || !radios) {
        return ResultOf(isEnabled ? radios.error() : isEnabled.error());
    }
    if (!isEnabled.value()) {
        return Wifi::WIFI_DISABLED;
    }
    std::vector<WifiRadio>& all = radios.value();
    if (isOpening_ || share_ || std::any_of(all.begin(), all.end(), [](const auto& one) { return one.IsHotspot(); })) {
        return Wifi::WIFI_OK;
    }
    std::erase_if(all, [](const WifiRadio& one) { return !one.canBeAccessPoint; });
    if (all.empty()) {
        return Wifi::WIFI_NOT_SUPPORTED;
    }
    const auto idle = std::find_if(all.begin(), all.end(), [](const WifiRadio& one) { return !one.IsStation(); });
    if (idle != all.end()) {
        const int32_t opened = Open(manager, *idle);
        hasJustOpened_ = opened == Wifi::WIFI_OK;
        return opened;
    }
    OpenLater(all.front());
    hasJustOpened_ = true;
    return Wifi::WIFI_OK;
}

void LinuxWifiHotspot::OpenLater(const WifiRadio& radio)
{
    QuviewDFX::LogInfo(LABEL, "%{public}s leaves its network and opens the hotspot in a moment", radio.interface);
    isOpening_ = true;
    SetOn(true);
    timer_.Cancel();
    // A timer that was cancelled too late must not open the hotspot before the newer timer does.
    timer_ = context_->timers.RunAfter(
        options_.switchDelay, [self = sptr<LinuxWifiHotspot>(this), path = radio.path, number = ++openingsSet_] {
            self->context_->strand.Post([self, path, number] {
                if (number == self->openingsSet_) {
                    self->OpenNow(path);
                }
            });
        });
}

void LinuxWifiHotspot::OpenNow(const std::string& radio)
{
    if (!std::exchange(isOpening_, false)) {
        return;
    }
    // The radios are read again, because this radio may have changed its network meanwhile.
    const Result<std::vector<WifiRadio>> radios = context_->manager.Radios();
    for (const WifiRadio& one : radios ? radios.value() : std::vector<WifiRadio>()) {
        if (one.path == radio && Open(context_->manager, one) == Wifi::WIFI_OK) {
            return;
        }
    }
    SetOn(false);
}

int32_t LinuxWifiHotspot::Open(const NetworkManager& manager, const WifiRadio& radio)
{
    const Result<Chosen> chosen = Choose(manager);
    const Result<std::string> previous = chosen.and_then([&](const Chosen&) { return NetworkOf(manager, radio); });
    if (!previous) {
        QuviewDFX::LogError(LABEL, "cannot open the hotspot: %{public}s", previous.error().message);
        return ResultOf(previous.error());
    }
    const std::optional<Profile>& usersOwn = chosen.value().usersOwn;
    NetworkChange change;
    change.profile = usersOwn ? UuidOf(*usersOwn) : MakeUuid();
    change.previous = previous.value();
    change.isHotspot = true;
    change.isOurProfile = !usersOwn;
    context_->networkChanges.Record(change);
    // The caller's deadline does not limit these calls, because only their replies say what must be undone.
    const Result<Activation> opened =
        usersOwn ? context_->manager.Activate(usersOwn->path, radio.path)
                 : context_->manager.AddAndActivate(
                       MakeHotspotProfile(change.profile, chosen.value().config, options_.settings), radio.path, "");
    if (!opened) {
        QuviewDFX::LogError(LABEL, "cannot open the hotspot: %{public}s", opened.error().message);
        if (IsNoAnswer(opened.error())) {
            context_->UndoLater(change);
        } else {
            context_->networkChanges.Forget(change.profile);
        }
        return ResultOf(opened.error());
    }
    change.activation = opened.value().path;
    context_->networkChanges.Record(change);
    QuviewDFX::LogInfo(LABEL, "opening hotspot \"%{public}s\" on %{public}s (%{public}s)",
                       chosen.value().config.GetSsid(), radio.interface,
                       usersOwn ? "the user's profile" : "a temporary profile");
    share_ = Share{change, radio.path, radio.interface};
    guard_.Open(context_->timers.Now());
    SetOn(true);
    {
        const MutexLock lock(mutex_);
        opened_ = chosen.value().config;
    }
    GuardLater();
    return Wifi::WIFI_OK;
}

bool LinuxWifiHotspot::CloseOwn(const char* reason)
{
    if (std::exchange(isOpening_, false)) {
        ResetShare();
    }
    if (!share_) {
        return true;
    }
    Share closed = *share_;
    closed.change.isEndReported = true;
    ResetShare();
    const bool isDone = context_->Undo(closed.change);
    Wifi::ReportShareClosed(reason);
    if (isDone) {
        context_->Restore(closed.change, closed.radio);
    }
    return isDone;
}

void LinuxWifiHotspot::ResetShare()
{
    share_.reset();
    timer_.Cancel();
    SetOn(false);
}

void LinuxWifiHotspot::OnChanged()
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    const Result<ActivationState> state =
        share_ ? context_->manager.StateOf(share_->change.activation) : ActivationState::UNKNOWN;
    if (share_ && state && state.value() == ActivationState::GONE && !WasRenewed()) {
        QuviewDFX::LogInfo(LABEL, "the hotspot on %{public}s ended", share_->interface);
        const Share ended = *share_;
        ResetShare();
        if (context_->Undo(ended.change)) {
            context_->Restore(ended.change, ended.radio);
        }
    }
    if (const Result<std::vector<WifiRadio>> radios = context_->manager.Radios()) {
        const auto hotspot = std::find_if(radios.value().begin(), radios.value().end(), [this](const WifiRadio& one) {
            return one.IsHotspot() && (!share_ || one.path == share_->radio);
        });
        const bool isPresent = hotspot != radios.value().end();
        SetOn(isOpening_ || share_ || isPresent,
              isPresent && hotspot->state == NM_STATE_ACTIVATED ? hotspot->interface : "");
    }
}

bool LinuxWifiHotspot::WasRenewed()
{
    const Result<std::vector<WifiRadio>> radios = context_->manager.Radios();
    if (!radios) {
        return true;  // without a reply, the hotspot counts as on
    }
    for (const WifiRadio& radio : radios.value()) {
        if (radio.path != share_->radio || radio.activation.empty()) {
            continue;
        }
        const Result<Profile> profile = context_->manager.ProfileInUse(radio.activation);
        if (profile && UuidOf(profile.value()) == share_->change.profile) {
            share_->change.activation = radio.activation;
            context_->networkChanges.Record(share_->change);
            return true;
        }
    }
    return false;
}

void LinuxWifiHotspot::OnNetworkManagerStopped()
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    // The change stays in the list of recorded changes, so it is undone when NetworkManager runs again.
    isOpening_ = false;
    ResetShare();
}

void LinuxWifiHotspot::OnBatteryLow()
{
    DISTNET_ASSERT(context_->strand.RunsOnThisThread(), "called on the Wi-Fi strand");
    CloseOwn(ShareClosed::BATTERY_LOW);
}

void LinuxWifiHotspot::Stop()
{
    {
        const MutexLock lock(mutex_);
        hasStopBegun_ = true;
    }
    context_->RunAndWait(WIFI_CALL_LIMIT, [self = sptr<LinuxWifiHotspot>(this)](WifiContext::Deadline) -> int32_t {
        self->isStopped_ = true;
        self->CloseOwn(ShareClosed::DAEMON_STOPPED);
        return Wifi::WIFI_OK;
    });
}

}  // namespace Vexo::Linux
