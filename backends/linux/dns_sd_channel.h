// The DNS-SD channel: an announcement channel through Avahi (RFC 6762, RFC 6763). It announces this device on its LANs
// and finds other devices there. The channel waits and retries while Avahi is absent, restarts or hangs, and while the
// bus restarts. All work runs on the channel's own strand, and the callback Heard is called there. docs/linux.md
// describes the announced data. Its parts: dns_sd_publisher.h, dns_sd_browser.h.
#pragma once

#include <memory>
#include <string>

#include "backends/linux/bus.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// listening: the numeric address at which the device accepts TCP connections, such as "0.0.0.0:40117" (all IPv4
// addresses) or "[::]:40117" (all addresses). A loopback address is not announced. bus: the bus that Avahi is on; null:
// Start opens its own connection to the system bus. timers must outlive the channel. The callback Heard must not call
// Withdraw or destroy the channel. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeDnsSdChannel(const std::string& listening,
                                                               std::shared_ptr<Bus> bus = nullptr,
                                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
