// BluetoothRadioLinks: disconnects the Bluetooth radio links that this device opened and no longer uses. They would
// stay up for ever otherwise, because BlueZ keeps channels of its own open on them. Used on the strand of the Bluetooth
// channel. Calls block for BlueZ's answers, within the limits named below.
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

// How long a radio link stays up after its last use. So a request can use the link of the wake-up before it.
inline constexpr std::chrono::milliseconds RADIO_LINK_LINGER{5000};

class BluetoothRadioLinks : public NoCopyable {
public:
    // bus and clock must outlive this object.
    BluetoothRadioLinks(Bus& bus, std::shared_ptr<BluetoothShared> shared, const Clock& clock);

    // Sets the adapter in use, by BlueZ's path. Empty: none, and no radio link is disconnected.
    void UseAdapter(const std::string& adapter) { adapter_ = adapter; }
    // Disconnects the radio links whose last use was RADIO_LINK_LINGER ago. Call when a use has ended
    // (BluetoothShared::SetOnUnused), and at the time that NextUpdate() returns. Blocks for at most 2 s, and another
    // 0.1 s for each radio link.
    void Update();
    // Returns when the next unused radio link is due; nothing if there is none.
    std::optional<SteadyTime> NextUpdate() const;
    // Disconnects all unused radio links now. Blocks for at most 0.2 s, and another 0.01 s for each radio link.
    void End();

private:
    struct Limits {
        std::chrono::milliseconds list;
        // Short: BlueZ reports a refused Disconnect at once. It reports success only seconds later, which is not
        // awaited.
        std::chrono::milliseconds disconnect;
    };

    void EndLinks(const std::set<std::string>& devices, const Limits& limits);

    Bus& bus_;
    const std::shared_ptr<BluetoothShared> shared_;
    const Clock& clock_;
    std::string adapter_;
    std::map<std::string, SteadyTime> lingering_;  // unused ones, by DeviceOf: when they are due
};

}  // namespace Vexo::Linux
