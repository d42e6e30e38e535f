// Formats the daemon's status as lines for a person. The commands `status` and `watch` share these lines. The texts in
// all arguments must be printable (printable.h). Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Ctl {

struct StatusLine {
    std::string label;  // such as "Wi-Fi"; empty if this line continues the previous line
    std::string text;
};

// Returns all lines of the status. The list of abilities is wrapped so that no line, with its label, exceeds 80
// columns.
std::vector<StatusLine> StatusLines(const Host::HostStatus& status, const Host::HostCounts& counts);

// Wraps a text so that no line, with its label, exceeds 80 columns. Only the first line has the label.
std::vector<StatusLine> WrappedLines(const std::string& label, const std::string& text);

// Describes the state of Wi-Fi: "connected "phone-7f3a", 192.168.43.17".
std::string WifiText(const Host::WifiStatus& wifi);
// Describes the state of the hotspot: "open", "closed", "not present", or "not known: the radio does not say".
std::string HotspotText(const Host::HotspotStatus& hotspot);

// Returns the complete line: the label, padded to 12 columns, and then the text.
std::string Labelled(const StatusLine& line);

}  // namespace Vexo::Ctl
