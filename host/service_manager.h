// NotifyServiceManager: tells systemd how the daemon stands, when it was started by a unit of Type=notify; does nothing
// otherwise. Any thread; does not block.
// https://www.freedesktop.org/software/systemd/man/252/sd_notify.html
#pragma once

#include <string>

namespace Vexo::Host {

// READY: once, at the end of the start. RUNNING: only the status has changed.
enum class ServiceState { READY, RUNNING, STOPPING };

// status: one line for a person, as `systemctl status` shows it. A service manager that cannot be reached is logged.
void NotifyServiceManager(ServiceState state, const std::string& status);

}  // namespace Vexo::Host
