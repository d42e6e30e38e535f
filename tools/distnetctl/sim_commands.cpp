#include "backends/simulated/device_state.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/state_owner.h"

namespace Vexo::Ctl {

namespace {

Json StateDetails(const Simulated::DeviceState& state)
{
    Json values = NewObject();
    for (const Simulated::DeviceStateEntry& entry : Simulated::DescribeDeviceState(state)) {
        cJSON_AddStringToObject(values.get(), entry.key.c_str(), entry.value.c_str());
    }
    Json details = NewObject();
    AddMember(details.get(), "state", std::move(values));
    return details;
}

}  // namespace

int RunSimShow(const GlobalOptions& options, Output& output)
{
    auto state = AsOwnerOf(options.stateDir, [&] { return Simulated::LoadDeviceState(options.stateDir); });
    if (!state) {
        return output.Finish(NotDone(state.Message(), "Name the device's state folder with --state DIR."));
    }
    output.Line("KEY                             VALUE         ALLOWED");
    for (const Simulated::DeviceStateEntry& entry : Simulated::DescribeDeviceState(state.Value())) {
        const bool unusedFault = entry.key.starts_with("faults.") && entry.isDefault;
        if (!unusedFault) {
            output.Line(Column(entry.key, 31) + " " + Column(entry.value.empty() ? "-" : entry.value, 13) + " " +
                        entry.allowed.substr(0, 33));
        }
    }
    output.Line("Faults: faults.CALL.code, .delay_ms, .no_answer; shown when set.");
    return output.Finish(Done(output.IsJson() ? "the simulated device's state" : "", StateDetails(state.Value())));
}

int RunSimSet(const GlobalOptions& options, Output& output, const std::vector<std::string>& assignments)
{
    auto state =
        AsOwnerOf(options.stateDir, [&] { return Simulated::UpdateDeviceState(options.stateDir, assignments); });
    if (!state) {
        return output.Finish(UsageError(state.Message(), "`distnetctl sim show` lists the keys and what they allow."));
    }
    return output.Finish(Done("Set; the device's daemon follows at once.", StateDetails(state.Value())));
}

}  // namespace Vexo::Ctl
