#include "host/service_manager.h"

#include <systemd/sd-daemon.h>

#include <system_error>

#include "platform/dfx/log.h"

namespace Vexo::Host {

void NotifyServiceManager(ServiceState state, const std::string& status)
{
    constexpr QuviewDFX::LogLabel label{QuviewDFX::LOG_DOMAIN_PLATFORM, "ServiceManager"};
    const char* const change = state == ServiceState::READY      ? "READY=1\n"
                               : state == ServiceState::STOPPING ? "STOPPING=1\n"
                                                                 : "";
    const std::string text = std::string(change) + "STATUS=" + status;
    if (const int sent = ::sd_notify(0, text.c_str()); sent < 0) {
        QuviewDFX::LogWarn(label, "cannot report the daemon's state to systemd: %{public}s",
                           std::generic_category().message(-sent));
    }
}

}  // namespace Vexo::Host
