// RemovalEffects: what follows on this device once a device was removed from the account: the key of its hotspot
// changes, since the removed device knows it. Each removal has its effect once, also when the daemon ends in between:
// removals.json of the state folder says which ones are done. One thread at a time; Apply blocks on the disk and the
// radio's daemon.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/health_check.h"
#include "platform/trust/account_state.h"

namespace Vexo::Host {

inline constexpr const char* REMOVALS_FILE = "removals.json";

class RemovalEffects : public NoCopyable {
public:
    // In the form of Device::ChangeHotspotKey.
    using ChangeHotspotKey = std::function<Result<std::string>()>;

    RemovalEffects(const std::filesystem::path& stateDir, ChangeHotspotKey changeKey,
                   const Clock& clock = Clock::System())
        : file_(stateDir / REMOVALS_FILE), changeKey_(std::move(changeKey)), clock_(clock)
    {
    }

    // Call for each state that this device has adopted, and at the daemon's start. A removal from before this device
    // was a member needs nothing. After a failure, which is logged, the next call tries again.
    void Apply(const Trust::AccountState& state, const std::string& ownNetworkId);

    // For `distnetctl doctor`: the user's own hotspot, for 30 days after the removal of a device that may know its key;
    // nullopt: nothing to say.
    std::optional<QuviewDFX::HealthCheck> Check() const;

private:
    const std::filesystem::path file_;
    const ChangeHotspotKey changeKey_;
    const Clock& clock_;
};

}  // namespace Vexo::Host
