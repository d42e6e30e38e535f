// The report of a hotspot that this daemon closed, the same for every backend. Any thread. No call blocks.
#pragma once

#include <string>

namespace Vexo::Wifi {

// Writes the system event NET_SHARE_CLOSED and a log line. reason: of ShareClosed (share_control.h).
void ReportShareClosed(const std::string& reason);

}  // namespace Vexo::Wifi
