// Bluetooth: reaches other devices over Bluetooth Low Energy. It consists of a transport over the kernel's sockets
// (bluetooth_transport.h), and of an announcement channel through BlueZ, by which devices find each other
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
    std::string adapter;       // "hci1"; empty: the first that is on
};

struct Bluetooth {
    SoftBus::TransportFactory transport;
    SoftBus::AnnouncementChannelFactory channel;
    std::function<BluetoothState()> state;  // any thread; does not block
};

// The transport and the channel share state: use both in the same soft bus. Does not block.
Bluetooth MakeBluetooth(const BluetoothOptions& options);

}  // namespace Vexo::Linux
