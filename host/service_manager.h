// NotifyServiceManager: reports the daemon's state to systemd if a unit of Type=notify started the daemon. Otherwise it
// does nothing. Any thread may call it; it does not block.
// https://www.freedesktop.org/software/systemd/man/252/sd_notify.html
#pragma once

#include <string>

namespace Vexo::Host {

// READY: the start is complete; sent once. RUNNING: only the status text has changed. STOPPING: the daemon stops.
enum class ServiceState { READY, RUNNING, STOPPING };

// status: one line for a person, which `systemctl status` shows. Logs a warning if systemd cannot be reached.
void NotifyServiceManager(ServiceState state, const std::string& status);

}  // namespace Vexo::Host
