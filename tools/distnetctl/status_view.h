// How the daemon's answers look to a person: the lines that `status` and `watch` share. What they are given is
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

// Every line; with the label before it, none is wider than 80 columns.
std::vector<StatusLine> StatusLines(const Host::HostStatus& status, const Host::HostCounts& counts);

// "connected "phone-7f3a", 192.168.43.17"
std::string WifiText(const Host::WifiStatus& wifi);
// "open", "closed", "not present", "not known: the radio does not say"
std::string HotspotText(const Host::HotspotStatus& hotspot);

// The line with its label in front, in 12 columns.
std::string Labelled(const StatusLine& line);

}  // namespace Vexo::Ctl
