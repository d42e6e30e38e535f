// BluetoothAdvertiser: announces this device through BlueZ, by a connectable advertisement whose service data contain
// the device's token and channel number (bluetooth_address.h). Used on the channel's strand (bluetooth_channel.h);
// blocks for BlueZ's answers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "backends/linux/bluetooth_address.h"
#include "backends/linux/bluez.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Linux {

class BluetoothAdvertiser : public NoCopyable {
public:
    // released: called on the strand when BlueZ has ended the advertisement by itself.
    BluetoothAdvertiser(DaemonCalls& bluez, Tasks::Strand& strand, std::function<void()> released)
        : bluez_(bluez), strand_(strand), released_(std::move(released))
    {
    }

    // Advertises data on that adapter. The previous advertisement ends after the new one has started, or before that if
    // BlueZ rejects a second one. If adapter (BlueZ's path) is empty or data is nullopt, nothing is advertised. After
    // an error, call Update again later.
    [[nodiscard]] Result<void> Update(const std::string& adapter, const std::optional<BluetoothServiceData>& data);
    // Call when BlueZ has exited: its advertisements have ended too.
    void Reset() { current_.reset(); }
    void Withdraw();

private:
    struct Advertisement {
        std::string adapter;
        BluetoothServiceData data;
        std::string path;
        BusSubscription object;
    };

    [[nodiscard]] Result<Advertisement> Register(const std::string& adapter, const BluetoothServiceData& data);
    void Unregister(const std::string& adapter, const std::string& path);
    void OnReleased(const std::string& path);

    DaemonCalls& bluez_;
    Tasks::Strand& strand_;
    const std::function<void()> released_;
    std::optional<Advertisement> current_;
};

}  // namespace Vexo::Linux
