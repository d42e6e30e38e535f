// RemovalEffects: changes the key of this device's hotspot after a device was removed from the account, because the
// removed device knows the key. removals.json in the state folder records which removals are handled, so that a restart
// does not lose a removal. Only one thread at a time may call Apply. Any thread may call Check. Both block on the disk;
// Apply also blocks on the radio's daemon.
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
    // The function that changes the hotspot's key and returns the result of Device::ChangeHotspotKey.
    using ChangeHotspotKey = std::function<Result<std::string>()>;

    RemovalEffects(const std::filesystem::path& stateDir, ChangeHotspotKey changeKey,
                   const Clock& clock = Clock::System())
        : file_(stateDir / REMOVALS_FILE), changeKey_(std::move(changeKey)), clock_(clock)
    {
    }

    // Call at the daemon's start and for each new state of the account that this device has adopted. Ignores removals
    // that happened before this device became a member. A failure is logged, and the next call tries again.
    void Apply(const Trust::AccountState& state, const std::string& ownNetworkId);

    // Returns the check of `distnetctl doctor` about the user's own hotspot, because a removed device may know its key.
    // The check is reported for 30 days after the removal. Returns nullopt if there is nothing to report.
    std::optional<QuviewDFX::HealthCheck> Check() const;

private:
    const std::filesystem::path file_;
    const ChangeHotspotKey changeKey_;
    const Clock& clock_;
};

}  // namespace Vexo::Host
