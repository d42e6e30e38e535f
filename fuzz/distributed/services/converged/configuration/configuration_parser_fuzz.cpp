// Fuzzes the parser of the device type settings. Each input is parsed both as device.json and as scenario.json.
#include "distributed/services/converged/configuration/configuration_parser.h"

#include "distributed/services/converged/configuration/distributed_json_util.h"
#include "fuzz/fuzz_target.h"
#include "platform/base/json.h"

namespace Vexo::NetManagerStandard {
namespace {

std::vector<std::string> Samples()
{
    return {R"({"device": {"version": "1.0", "deviceCaps": [
                {"type": "phone", "use_network": true, "provide_network": false}, {"type": "watch"}]}})",
            R"({"scenario": {"deviceCaps": [{"type": "phone", "screen_off_auto_close_time": 60000}, {"type": "a"}]}})"};
}

bool Run(std::string_view input)
{
    cJSON* parsed = nullptr;
    if (!DistributedJsonUtil::GetObjFromJsonStr(std::string(input), &parsed)) {
        Fuzz::Require(parsed == nullptr, "a damaged text leaves no document");
        return false;
    }
    const Json root(parsed);
    ConfigurationParser parser;
    const bool isDevice = parser.ParseDeviceConfig(root.get());
    const bool isScenario = parser.ParseScenarioConfig(root.get());
    int time = 0;
    Fuzz::Require(!parser.GetDeviceNetOffTime("phone", time) || (isScenario && time != 0), "a time is a scenario's");
    return isDevice || isScenario;
}

const Fuzz::Registration REGISTRATION({"service_configuration", Samples, Run});

}  // namespace
}  // namespace Vexo::NetManagerStandard
