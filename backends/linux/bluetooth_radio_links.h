// BluetoothRadioLinks: ends the radio links over Bluetooth that this device opened and no longer uses. BlueZ keeps
// channels of its own on a radio link, which would stay up for ever. Used on the strand of the Bluetooth channel. Calls
// block for BlueZ's answers, within the limits named below.
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

// How long a radio link outlives its last use. A request and the wake before it share one.
inline constexpr std::chrono::milliseconds RADIO_LINK_LINGER{5000};

class BluetoothRadioLinks : public NoCopyable {
public:
    // bus and clock outlive it.
    BluetoothRadioLinks(Bus& bus, std::shared_ptr<BluetoothShared> shared, const Clock& clock);

    // BlueZ's path of the adapter in use; empty: none, and nothing is ended.
    void UseAdapter(const std::string& adapter) { adapter_ = adapter; }
    // Ends the radio links whose last use was RADIO_LINK_LINGER ago. Call when a use has ended
    // (BluetoothShared::SetOnUnused), and at NextUpdate. Blocks for 2 s at most, and 0.1 s for each radio link.
    void Update();
    // Returns nothing while no radio link lingers.
    std::optional<SteadyTime> NextUpdate() const;
    // Ends those that linger at once. Blocks for 0.2 s at most, and 0.01 s for each radio link.
    void End();

private:
    struct Limits {
        std::chrono::milliseconds list;
        // BlueZ reports a refused Disconnect at once, and success only seconds later, which is not awaited.
        std::chrono::milliseconds disconnect;
    };

    void EndLinks(const std::set<std::string>& devices, const Limits& limits);

    Bus& bus_;
    const std::shared_ptr<BluetoothShared> shared_;
    const Clock& clock_;
    std::string adapter_;
    std::map<std::string, SteadyTime> lingering_;  // devices (DeviceOf), and when their radio links are due to end
};

}  // namespace Vexo::Linux
