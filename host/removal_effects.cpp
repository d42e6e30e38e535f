#include "host/removal_effects.h"

#include <utility>

#include "platform/base/files.h"
#include "platform/base/json_keys.h"
#include "platform/base/last_second.h"
#include "platform/base/utf8.h"
#include "platform/dfx/log.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/membership.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Removals"};
constexpr size_t MAX_FILE_BYTES = 4096;
constexpr mode_t FILE_MODE = 0600;

struct Done {
    int version = 1;
    int64_t number = 0;  // number of the last removal that was handled
    // SSID of the user's own hotspot with escaped non-printable bytes; empty: the user had none
    std::string usersHotspot{};
    std::string removedDevice{};  // name of the removed device, which may know the hotspot's key
    std::chrono::seconds removedAt{};
};

const JsonKeys<Done>& DoneKeys()
{
    static const JsonKeys<Done> keys({
        {"version", FormatVersionKind(1), &Done::version, Required()},
        {"number", WholeNumberKind<int64_t>(0, LAST_SECOND), &Done::number, Required()},
        {"users_hotspot", TextKind("a text"), &Done::usersHotspot, OmittedByDefault()},
        {"removed_device", TextKind("a text"), &Done::removedDevice, OmittedByDefault()},
        {"removed_at", WholeNumberKind<std::chrono::seconds>(0, LAST_SECOND), &Done::removedAt, OmittedByDefault()},
    });
    return keys;
}

Done Read(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        return {};
    }
    Result<Done> done = DoneKeys().Load(file, MAX_FILE_BYTES);
    if (!done) {
        // Treating the file as empty is safe, because handling a removal twice does no harm.
        QuviewDFX::LogWarn(LABEL, "%{public}s; treated as empty", done.error().message);
        return {};
    }
    return std::move(done.value());
}

}  // namespace

void RemovalEffects::Apply(const Trust::AccountState& state, const std::string& ownNetworkId)
{
    const Trust::Member* const self = state.FindMember(ownNetworkId);
    if (self == nullptr) {
        return;
    }
    Done done = Read(file_);
    const Trust::RemovedKey* latest = nullptr;
    for (const Trust::RemovedKey& removed : state.removed) {
        if (std::cmp_greater(removed.number, done.number) && removed.at >= self->since) {
            latest = &removed;
        }
    }
    if (latest == nullptr) {
        return;
    }
    const Result<std::string> usersOwn = changeKey_();
    if (!usersOwn) {
        QuviewDFX::LogWarn(LABEL, "the hotspot's key may still be the one that %{public}s knows: %{public}s",
                           latest->name, usersOwn.error().message);
        return;
    }
    done.number = static_cast<int64_t>(latest->number);
    done.usersHotspot = EscapeHidden(usersOwn.value());
    done.removedDevice = latest->name;
    done.removedAt = latest->at.time_since_epoch();
    if (const Result<void> written = WriteFileAtomically(file_, DoneKeys().Print(done), FILE_MODE); !written) {
        QuviewDFX::LogWarn(LABEL, "%{public}s", written.error().message);
    }
    QuviewDFX::LogInfo(LABEL, "%{public}s was removed from the account: the key of this device's hotspot has changed",
                       latest->name);
    if (!done.usersHotspot.empty()) {
        QuviewDFX::LogWarn(LABEL,
                           "the key of the user's own hotspot \"%{public}s\" is unchanged: %{public}s may know it",
                           done.usersHotspot, latest->name);
    }
}

std::optional<QuviewDFX::HealthCheck> RemovalEffects::Check() const
{
    const Done done = Read(file_);
    const std::chrono::sys_seconds removedAt(done.removedAt);
    if (done.usersHotspot.empty() || clock_.WallNow() > removedAt + Trust::PREVIOUS_LINK_KEY_LIFE) {
        return std::nullopt;
    }
    return QuviewDFX::NotChecked("hotspot",
                                 "\"" + EscapeHidden(done.removedDevice) + "\", removed from the account on " +
                                     DateOf(removedAt) + ", may know the key of your hotspot \"" + done.usersHotspot +
                                     "\"",
                                 "Change that key, unless you have done so since, where you manage your networks");
}

}  // namespace Vexo::Host
