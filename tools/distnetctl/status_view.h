// Formats the daemon's status for a person: the lines that `status` and `watch` share. The answers passed in must be
// printable (printable.h). Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Ctl {

struct StatusLine {
    std::string label;  // "Wi-Fi"; empty for a line that continues the one before
    std::string text;
};

// All lines of the status. The list of abilities is wrapped to 80 columns, label included.
std::vector<StatusLine> StatusLines(const Host::HostStatus& status, const Host::HostCounts& counts);

// A text under one label, wrapped to 80 columns, label included.
std::vector<StatusLine> WrappedLines(const std::string& label, const std::string& text);

// The state of Wi-Fi: "connected "phone-7f3a", 192.168.43.17"
std::string WifiText(const Host::WifiStatus& wifi);
// The state of the hotspot: "open", "closed", "not present", "not known: the radio does not say"
std::string HotspotText(const Host::HotspotStatus& hotspot);

// The whole line: the label, padded to 12 columns, then the text.
std::string Labelled(const StatusLine& line);

}  // namespace Vexo::Ctl
