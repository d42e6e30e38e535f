// How the daemon's answers look to a person: the lines that `status` and `watch` share. Pure functions; any thread.
#pragma once

#include <cjson/cJSON.h>

#include <string>
#include <vector>

namespace Vexo::Ctl {

struct StatusLine {
    std::string label;  // "Wi-Fi"; empty for a line that continues the one before
    std::string text;
};

// Every line of a status and counts object (docs/ipc.md); with the label before it, none is wider than 80 columns.
std::vector<StatusLine> StatusLines(const cJSON* status, const cJSON* counts);

// "connected "phone-7f3a", 192.168.43.17" of a wifi object.
std::string WifiText(const cJSON* wifi);
// "open", "closed", "not present", "not known" of a hotspot object.
std::string HotspotText(const cJSON* hotspot);

// The line with its label in front, in 12 columns.
std::string Labelled(const StatusLine& line);

}  // namespace Vexo::Ctl
