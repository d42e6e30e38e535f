// Bluetooth Low Energy as a way to other devices: the transport (bluetooth_transport.h) on the kernel's sockets, and
// the channel by which devices find each other (bluetooth_channel.h) through BlueZ. Start here.
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
    std::shared_ptr<Bus> bus;  // where BlueZ is
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
