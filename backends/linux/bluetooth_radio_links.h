// BluetoothRadioLinks: disconnects the Bluetooth radio links that this device opened and no longer uses. Without this
// class, these links would stay connected for ever, because BlueZ keeps its own channels open on them. Used on the
// strand of the Bluetooth channel. Update and End block for BlueZ's answers.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "backends/linux/bluetooth_shared.h"
#include "backends/linux/bus.h"
#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Linux {

// How long a radio link stays connected after its last use. This device sends a wake-up message before a request, and
// the request can then use the radio link of the wake-up message.
inline constexpr std::chrono::milliseconds RADIO_LINK_LINGER{5000};

class BluetoothRadioLinks : public NoCopyable {
public:
    // bus and clock must outlive this object.
    BluetoothRadioLinks(Bus& bus, std::shared_ptr<BluetoothShared> shared, const Clock& clock);

    // Sets the adapter in use. adapter: the adapter's D-Bus path; empty: no radio link is disconnected.
    void UseAdapter(const std::string& adapter) { adapter_ = adapter; }
    // Disconnects each radio link that has been unused for RADIO_LINK_LINGER. Call it when the callback of
    // BluetoothShared::SetOnUnused runs, and at the time that NextUpdate() returns. Blocks for at most 2 s, plus 0.1 s
    // for each radio link.
    void Update();
    // Returns the time at which the next unused radio link must be disconnected; nullopt if no radio link is unused.
    std::optional<SteadyTime> NextUpdate() const;
    // Disconnects all unused radio links now. Blocks for at most 0.2 s, plus 0.01 s for each radio link.
    void End();

private:
    struct Limits {
        std::chrono::milliseconds list;
        // The time limit of one call of BlueZ's method Disconnect. The limit is short, because BlueZ reports a refusal
        // at once. BlueZ reports success only seconds later, and nothing waits for this report.
        std::chrono::milliseconds disconnect;
    };

    void EndLinks(const std::set<std::string>& devices, const Limits& limits);

    Bus& bus_;
    const std::shared_ptr<BluetoothShared> shared_;
    const Clock& clock_;
    std::string adapter_;
    std::map<std::string, SteadyTime> lingering_;  // when to disconnect each unused radio link; keyed by DeviceOf
};

}  // namespace Vexo::Linux
