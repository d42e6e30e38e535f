// The Bluetooth channel: an announcement channel through BlueZ. It announces this device by a Low Energy advertisement,
// and scans for other devices while a handle of Seek exists. It also disconnects radio links that are no longer used.
// It waits and retries while BlueZ is absent, restarts or rejects calls, while the adapter is removed or switched off,
// and while the bus restarts. All its work runs on a strand of its own; Heard is called there. Its parts:
// bluetooth_advertiser.h, bluetooth_scanner.h, bluetooth_radio_links.h. What is announced: docs/linux.md.
#pragma once

#include <memory>

#include "backends/linux/bluetooth.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// shared: Start reads from it the channel number to announce; the channel writes the adapter and the state to it. If
// the channel number is 0 when Start is called, the channel neither announces nor scans. timers must outlive the
// channel. Withdraw and the destructor must not be called from Heard. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeBluetoothChannel(const BluetoothOptions& options,
                                                                   std::shared_ptr<BluetoothShared> shared,
                                                                   Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
