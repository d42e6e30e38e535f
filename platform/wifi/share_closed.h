// ReportShareClosed: reports that this daemon has closed its hotspot. Every backend calls it, so that all backends
// report in the same form. Thread-safe. No call blocks.
#pragma once

#include <string>

namespace Vexo::Wifi {

// Writes the system event NET_SHARE_CLOSED and a log line. reason: a value of ShareClosed (share_control.h).
void ReportShareClosed(const std::string& reason);

}  // namespace Vexo::Wifi
