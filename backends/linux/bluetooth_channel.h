// The Bluetooth channel: an announcement channel through BlueZ. It announces this device with a Low Energy
// advertisement. It scans for other devices while a handle exists that AnnouncementChannel::Seek returned. It also
// disconnects radio links that are no longer used. The channel waits and retries while BlueZ or the bus is unavailable,
// while BlueZ rejects calls, and while the adapter is removed or switched off. All work runs on the channel's own
// strand, and the callback Heard is called there. Its parts: bluetooth_advertiser.h, bluetooth_scanner.h,
// bluetooth_radio_links.h. docs/linux.md describes the announced data.
#pragma once

#include <memory>

#include "backends/linux/bluetooth.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// Returns the channel that announces and finds devices over Bluetooth. shared: the values that this channel and the
// transport share. This channel writes the adapter and the state to them. Start reads from them the L2CAP port (PSM) on
// which the transport listens. If the PSM is 0, this channel neither announces nor scans. timers must outlive the
// channel. The callback Heard must not call Withdraw or destroy the channel. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeBluetoothChannel(const BluetoothOptions& options,
                                                                   std::shared_ptr<BluetoothShared> shared,
                                                                   Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
