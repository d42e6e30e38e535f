// Bluetooth: connects to other devices over Bluetooth Low Energy. The transport uses the kernel's sockets
// (bluetooth_transport.h). Devices find each other with an announcement channel, which uses BlueZ
// (bluetooth_channel.h). Any thread may call MakeBluetooth. Read this header first.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "backends/linux/bluetooth_shared.h"
#include "backends/linux/bus.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::Linux {

struct BluetoothOptions {
    std::shared_ptr<Bus> bus;  // the bus that BlueZ is on
    std::string adapter;       // such as "hci1"; empty: the first adapter that is on
};

struct Bluetooth {
    SoftBus::TransportFactory transport;
    SoftBus::AnnouncementChannelFactory channel;
    std::function<BluetoothState()> state;  // any thread may call it; does not block
};

// Returns the factories of the transport and of the channel. The two factories share state, so pass them to the same
// soft bus. Does not block.
Bluetooth MakeBluetooth(const BluetoothOptions& options);

}  // namespace Vexo::Linux
