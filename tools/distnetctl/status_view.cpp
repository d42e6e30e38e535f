#include "tools/distnetctl/status_view.h"

#include "platform/base/text.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t LABEL_WIDTH = 12;
constexpr size_t TEXT_WIDTH = COLUMNS - LABEL_WIDTH;

std::string AbilityNames(const cJSON* abilities)
{
    std::string names;
    const cJSON* ability = nullptr;
    cJSON_ArrayForEach(ability, abilities)
    {
        names += TextOf(ability, "name") + (ability->next != nullptr ? ", " : "");
    }
    return names;
}

std::string ServiceText(const std::string& service)
{
    return service == "idle"         ? "idle: no program uses it; it still serves peers"
           : service == "not_loaded" ? "not loaded: it starts when a program or a peer asks"
                                     : service;
}

std::string Counted(const cJSON* counts, const char* key, const std::string& one, const std::string& many)
{
    const int number = static_cast<int>(NumberOf(counts, key));
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

}  // namespace

std::string WifiText(const cJSON* wifi)
{
    if (!IsTrue(wifi, "present")) {
        return "not present";
    }
    std::string text = TextOf(wifi, "state");
    if (const std::string ssid = TextOf(wifi, "ssid"); !ssid.empty()) {
        text += " \"" + ssid + "\"";
    }
    if (const std::string address = TextOf(wifi, "address"); !address.empty()) {
        text += ", " + address;
    }
    if (const std::string reason = TextOf(wifi, "reason"); !reason.empty()) {
        text += ": " + reason;
    }
    return text;
}

std::string HotspotText(const cJSON* hotspot)
{
    if (!IsTrue(hotspot, "present")) {
        return "not present";
    }
    const cJSON* active = cJSON_GetObjectItemCaseSensitive(hotspot, "active");
    return cJSON_IsBool(active) == 0   ? "not known: the radio does not say"
           : IsTrue(hotspot, "active") ? "open"
                                       : "closed";
}

std::vector<StatusLine> StatusLines(const cJSON* status, const cJSON* counts)
{
    const cJSON* device = cJSON_GetObjectItemCaseSensitive(status, "device");
    const std::string account = TextOf(status, "account");
    std::vector<StatusLine> lines{
        {"device", "\"" + TextOf(device, "name") + "\", " + TextOf(device, "type") + ", " +
                       ShortId(TextOf(device, "network_id"))},
        {"account", account.empty() ? "none: see `distnetctl account --help`" : "\"" + account + "\""},
        {"daemon", "distnetd " + TextOf(status, "version") + ", " + TextOf(status, "platform") + ", up " +
                       RoughDuration(std::chrono::seconds(static_cast<int64_t>(NumberOf(status, "uptime_ms") / 1000)))},
        {"service", ServiceText(TextOf(status, "service"))}};
    const cJSON* abilities = cJSON_GetObjectItemCaseSensitive(status, "abilities");
    for (std::string& piece : Wrap(AbilityNames(abilities), TEXT_WIDTH)) {
        lines.push_back({lines.back().label == "service" ? "abilities" : "", std::move(piece)});
    }
    const cJSON* link = cJSON_GetObjectItemCaseSensitive(status, "link");
    if (const std::string listen = TextOf(link, "listen"); !listen.empty()) {
        lines.push_back({"link", "listening on " + listen});
    }
    lines.push_back({"Wi-Fi", WifiText(cJSON_GetObjectItemCaseSensitive(status, "wifi"))});
    lines.push_back({"hotspot", HotspotText(cJSON_GetObjectItemCaseSensitive(status, "hotspot"))});
    lines.push_back({"open", Counted(counts, "sessions", "session", "sessions") + ", " +
                                 Counted(counts, "pending", "pending", "pending") + ", " +
                                 Counted(counts, "threads", "thread", "threads") + ", " +
                                 Counted(counts, "descriptors", "descriptor", "descriptors") + ", " +
                                 Counted(counts, "ipc_connections", "client", "clients")});
    return lines;
}

std::string Labelled(const StatusLine& line)
{
    return Column(line.label, LABEL_WIDTH) + line.text;
}

}  // namespace Vexo::Ctl
