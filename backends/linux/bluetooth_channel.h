// The Bluetooth channel: announces this device by a Low Energy advertisement, and hears of others nearby while somebody
// seeks one, through BlueZ. A BlueZ that is absent, restarts or refuses, an adapter that is removed or switched off,
// and a restarted bus, are waited for. Everything happens on a strand of the channel's own, on which Heard is called.
// Its halves: bluetooth_advertiser.h, bluetooth_scanner.h. What is announced: docs/linux.md.
#pragma once

#include <memory>

#include "backends/linux/bluetooth.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// shared: read for the channel number that is announced, and told the adapter and the state. Without a number there
// when the channel starts, nothing is announced or heard. timers outlives the channel. Withdraw and the destructor are
// not called from Heard. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeBluetoothChannel(const BluetoothOptions& options,
                                                                   std::shared_ptr<BluetoothShared> shared,
                                                                   Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
