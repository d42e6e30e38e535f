#include "backends/linux/network_change_file.h"

#include <system_error>
#include <utility>

#include "platform/base/files.h"
#include "platform/base/json_keys.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "NetworkChangeFile"};
constexpr size_t MAX_FILE_BYTES = 65536;
constexpr mode_t FILE_MODE = 0600;

const JsonKind<std::vector<NetworkChange>>& NetworkChangesKind()
{
    using Change = NetworkChange;
    static const JsonKeys<Change> change({
        {"profile", TextKind("a text"), &Change::profile, Required()},
        {"activation", TextKind("a text"), &Change::activation, Required()},
        {"previous", TextKind("a text"), &Change::previous, Required()},
        {"hotspot", FlagKind(), &Change::isHotspot, Required()},
        {"our_profile", FlagKind(), &Change::isOurProfile, Required()},
    });
    static const auto changes = ListKind(change, "a list of changes");
    return changes;
}

}  // namespace

NetworkChangeFile::NetworkChangeFile(const std::filesystem::path& stateDir) : file_(stateDir / NETWORK_CHANGES_FILE)
{
    std::error_code ignored;
    if (!std::filesystem::exists(file_, ignored)) {
        return;
    }
    Result<std::vector<NetworkChange>> changes = NetworkChangesKind().Load(file_, MAX_FILE_BYTES);
    if (!changes) {
        QuviewDFX::LogError(LABEL, "cannot read the network changes; only marked profiles are removed: %{public}s",
                            changes.error().message);
        return;
    }
    changes_ = std::move(changes.value());
}

void NetworkChangeFile::Record(const NetworkChange& change)
{
    std::erase_if(changes_, [&](const NetworkChange& known) { return known.profile == change.profile; });
    changes_.push_back(change);
    Save();
}

void NetworkChangeFile::Forget(const std::string& profile)
{
    if (std::erase_if(changes_, [&](const NetworkChange& known) { return known.profile == profile; }) != 0) {
        Save();
    }
}

void NetworkChangeFile::Save() const
{
    if (const Result<void> written = WriteFileAtomically(file_, NetworkChangesKind().Print(changes_), FILE_MODE);
        !written) {
        QuviewDFX::LogError(LABEL, "%{public}s; a crash now would leave changes behind", written.error().message);
    }
}

}  // namespace Vexo::Linux
