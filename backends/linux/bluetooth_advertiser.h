// BluetoothAdvertiser: announces this device through BlueZ, by a connectable advertisement whose service data hold its
// token and channel number (bluetooth_address.h). Used on the channel's strand (bluetooth_channel.h); blocks for
// BlueZ's answers.
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
    // released: called on the strand when BlueZ ended the advertisement by itself.
    BluetoothAdvertiser(DaemonCalls& bluez, Tasks::Strand& strand, std::function<void()> released)
        : bluez_(bluez), strand_(strand), released_(std::move(released))
    {
    }

    // Advertises the data on that adapter. An advertisement of other data ends after that, or before it where BlueZ has
    // no room for both. With an empty path or no data, nothing is advertised. After an error, call it again later.
    [[nodiscard]] Result<void> Update(const std::string& adapter, const std::optional<BluetoothServiceData>& data);
    // Call when BlueZ has ended, and every advertisement with it.
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
