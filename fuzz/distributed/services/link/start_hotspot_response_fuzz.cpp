// Fuzzes the parser of a peer's answer to a request to start its hotspot.
#include "distributed/services/link/data_listener.h"
#include "distributed/services/utils/json_text.h"
#include "fuzz/fuzz_target.h"
#include "platform/base/json.h"
#include "tests/support/response_frame.h"

namespace Vexo::NetManagerStandard {
namespace {

std::vector<std::string> Samples()
{
    return {Tests::ResponseFrame(R"({"RES": 0, "SSID": "net", "PRESHARED_KEY": "example-key", "SECURITY_TYPE": 4})")};
}

int32_t Parse(std::string_view frame, Wifi::WifiDeviceConfig& config)
{
    std::vector<unsigned char> bytes(frame.begin(), frame.end());
    return DataListener::GetInstance()->ParseStartHotspotResponseMessage(
        bytes.data(), static_cast<unsigned int>(bytes.size()), config);
}

bool Run(std::string_view input)
{
    Wifi::WifiDeviceConfig config;
    config.ssid = config.preSharedKey = config.keyMgmt = "before";
    if (Parse(input, config) != 0) {
        Fuzz::Require(config.ssid == "before" && config.preSharedKey == "before" && config.keyMgmt == "before",
                      "a refused answer changes nothing");
        return false;
    }
    const Json json = NewObject();
    cJSON_AddStringToObject(json.get(), "SSID", config.ssid.c_str());
    cJSON_AddStringToObject(json.get(), "PRESHARED_KEY", config.preSharedKey.c_str());
    Wifi::WifiDeviceConfig again;
    Fuzz::Require(Parse(Tests::ResponseFrame(FormattedJson(json.get())), again) == 0 && again.ssid == config.ssid &&
                      again.preSharedKey == config.preSharedKey,
                  "what was read can be sent on");
    const std::string& kind = config.keyMgmt;
    Fuzz::Require(kind.empty() || kind == "before" || kind == "NONE" || kind == "WPA-PSK" || kind == "WPA-EAP",
                  "the key management is one that Wi-Fi knows");
    return true;
}

const Fuzz::Registration REGISTRATION({"start_hotspot_response", Samples, Run});

}  // namespace
}  // namespace Vexo::NetManagerStandard
