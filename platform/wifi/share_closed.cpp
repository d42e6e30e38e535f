#include "platform/wifi/share_closed.h"

#include "platform/dfx/log.h"
#include "platform/dfx/sys_event.h"

namespace Vexo::Wifi {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Share"};
constexpr const char* DOMAIN = "NETMANAGER";

}  // namespace

void ReportShareClosed(const std::string& reason)
{
    QuviewDFX::LogInfo(LABEL, "closed the hotspot that this daemon opened: %{public}s", reason);
    QuviewDFX::QuSysEvent::Write(DOMAIN, "NET_SHARE_CLOSED", QuviewDFX::QuSysEvent::BEHAVIOR, "REASON", reason);
}

}  // namespace Vexo::Wifi
