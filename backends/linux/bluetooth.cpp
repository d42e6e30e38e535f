#include "backends/linux/bluetooth.h"

#include "backends/linux/bluetooth_channel.h"
#include "backends/linux/bluetooth_transport.h"

namespace Vexo::Linux {

Bluetooth MakeBluetooth(const BluetoothOptions& options)
{
    const auto shared = std::make_shared<BluetoothShared>();
    return {[shared](asio::io_context& reactor) { return std::make_shared<BluetoothTransport>(reactor, shared); },
            [shared, options](const std::string&) { return MakeBluetoothChannel(options, shared); },
            [shared] { return shared->State(); }};
}

}  // namespace Vexo::Linux
