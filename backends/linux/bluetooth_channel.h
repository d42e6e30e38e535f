// The Bluetooth channel: announces this device by a Low Energy advertisement, and hears of others nearby while somebody
// seeks one, through BlueZ. It also ends radio links that are no longer used. The channel waits and tries again while
// BlueZ is absent, restarts or refuses, while the adapter is removed or switched off, and while the bus restarts. All
// its work runs on a strand of its own; Heard is called there. Its parts: bluetooth_advertiser.h, bluetooth_scanner.h,
// bluetooth_radio_links.h. What is announced: docs/linux.md.
#pragma once

#include <memory>

#include "backends/linux/bluetooth.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// shared: Start reads from it the channel number to announce; the channel writes the adapter and the state to it. If
// the number is 0 at the start, nothing is announced or heard. timers outlives the channel. Withdraw and the destructor
// are not called from Heard. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeBluetoothChannel(const BluetoothOptions& options,
                                                                   std::shared_ptr<BluetoothShared> shared,
                                                                   Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
