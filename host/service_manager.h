// NotifyServiceManager: reports the daemon's state to systemd if a unit of Type=notify started it; does nothing
// otherwise. Any thread; does not block.
// https://www.freedesktop.org/software/systemd/man/252/sd_notify.html
#pragma once

#include <string>

namespace Vexo::Host {

// READY: sent once, when the start is complete. RUNNING: the daemon runs on, with a new status text.
enum class ServiceState { READY, RUNNING, STOPPING };

// status: one line for a person, which `systemctl status` shows. Logs a warning if systemd cannot be reached.
void NotifyServiceManager(ServiceState state, const std::string& status);

}  // namespace Vexo::Host
