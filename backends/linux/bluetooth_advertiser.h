// BluetoothAdvertiser: makes BlueZ send a connectable advertisement of this device. The advertisement's service data
// contain the device's token and channel number (bluetooth_address.h). Used on the strand of the Bluetooth channel
// (bluetooth_channel.h). Calls block until BlueZ answers.
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
    // released: the callback for an advertisement that BlueZ has ended by itself. It is called on the strand.
    BluetoothAdvertiser(DaemonCalls& bluez, Tasks::Strand& strand, std::function<void()> released)
        : bluez_(bluez), strand_(strand), released_(std::move(released))
    {
    }

    // Advertises the given service data on the given adapter. The previous advertisement ends after the new one has
    // started. It ends earlier if the adapter has changed, or if BlueZ rejects a second advertisement. adapter: the
    // adapter's D-Bus path; empty: nothing is advertised. data: the service data; nullopt: nothing is advertised. After
    // an error, call Update again later.
    [[nodiscard]] Result<void> Update(const std::string& adapter, const std::optional<BluetoothServiceData>& data);
    // Forgets the advertisement. Call this when BlueZ has exited, because the advertisement has then ended.
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
