// Measures the response to a start-hotspot request.
//   frame.response    prints a response, frames it and parses it, beside cJSON that prints and parses the same text
#include <cjson/cJSON.h>

#include <string>

#include "bench/bench.h"
#include "distributed/services/link/hotspot_exchange.h"
#include "distributed/services/link/start_hotspot_response.h"
#include "platform/dfx/sinks.h"

namespace {

using namespace Vexo;
using namespace Vexo::Bench;
using namespace Vexo::NetManagerStandard;

constexpr int CALLS = 20'000;
constexpr const char* SSID = "phone-5d2b";
constexpr const char* KEY = "example-key-1234";

void Ours(const Wifi::HotspotConfig& hotspot)
{
    const Json json = NewObject();
    ResponseFrame frame;
    Check(FrameStartHotspotResponse(PrintSuccessAnswer(json.get(), hotspot), frame) == 0, "frame the response");
    Wifi::WifiDeviceConfig config;
    Check(ParseStartHotspotResponse(frame.bytes.get(), frame.size, config) == 0 && config.ssid == SSID &&
              config.preSharedKey == KEY,
          "parse the response");
}

void CJsonAlone(const Wifi::HotspotConfig& hotspot)
{
    const Json json = NewObject();
    cJSON_AddNumberToObject(json.get(), "RES", 0);
    cJSON_AddStringToObject(json.get(), "SSID", SSID);
    cJSON_AddStringToObject(json.get(), "PRESHARED_KEY", KEY);
    cJSON_AddNumberToObject(json.get(), "SECURITY_TYPE", static_cast<int32_t>(hotspot.GetSecurityType()));
    const PrintedJson text(cJSON_Print(json.get()));
    const Json parsed(cJSON_Parse(text.get()));
    Check(parsed != nullptr, "parse the text with cJSON");
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    if (!IsWanted(arguments, "frame.response")) {
        return 0;
    }
    // The parser logs one line at level INFO. log.line measures such a line on its own.
    QuviewDFX::SetLogLevel(QuviewDFX::LogLevel::ERROR);
    Wifi::HotspotConfig hotspot;
    hotspot.SetSsid(SSID);
    hotspot.SetPreSharedKey(KEY);
    hotspot.SetSecurityType(Wifi::KeyMgmt::WPA2_PSK);
    Compare(arguments, "frame.response", "ns",
            {"ours", [&hotspot] { return TimeAll(CALLS, [&hotspot] { Ours(hotspot); }); }},
            {"cJSON", [&hotspot] { return TimeAll(CALLS, [&hotspot] { CJsonAlone(hotspot); }); }});
    return 0;
}
