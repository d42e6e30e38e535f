// The DNS-SD channel: an announcement channel through Avahi (RFC 6762, RFC 6763). It announces this device on its LANs
// and finds other devices there. It waits and retries while Avahi is absent, restarts or hangs, and while the bus
// restarts. All its work runs on a strand of its own; Heard is called there. What is announced: docs/linux.md. Its
// parts: dns_sd_publisher.h, dns_sd_browser.h.
#pragma once

#include <memory>
#include <string>

#include "backends/linux/bus.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// listening: the numeric address where the device accepts TCP ("0.0.0.0:40117": at each IPv4 address, "[::]:40117": at
// each address). A loopback address is not announced. bus: the bus that Avahi is on; null: Start opens a connection of
// its own to the system bus. timers must outlive the channel. Withdraw and the destructor must not be called from
// Heard. Does not block.
std::unique_ptr<SoftBus::AnnouncementChannel> MakeDnsSdChannel(const std::string& listening,
                                                               std::shared_ptr<Bus> bus = nullptr,
                                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux
