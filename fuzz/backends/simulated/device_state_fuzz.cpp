// Fuzzes the parser of a simulated device's state file, and the function with which distnetctl sets single keys in that
// file.
#include "backends/simulated/device_state.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Simulated {
namespace {

std::vector<std::string> Samples()
{
    DeviceState faulty;
    faulty.faults[0] = {1, std::chrono::milliseconds(5), true};
    faulty.hotspotSecurity = HotspotSecurity::WPA3;
    faulty.inReach = {{"of:fice", 100}, {"home", 0}};
    faulty.batteryPercent = 7;
    // The replay test flips single bits. If \1 becomes NUL, SetByPath() must refuse the hotspot's key, because the
    // state file cannot contain NUL.
    return {SerializeDeviceState({}), SerializeDeviceState(faulty), "hotspot.key=example-\1",
            "network.in_reach=office:80,home:40"};
}

bool Keeps(const DeviceState& state)
{
    const auto again = ParseDeviceState(SerializeDeviceState(state));
    return again && again.value() == state;
}

bool Run(std::string_view input)
{
    DeviceState changed;
    const size_t separator = input.find('=');
    const bool set = separator != std::string_view::npos &&
                     SetByPath(changed, input.substr(0, separator), input.substr(separator + 1)).has_value();
    Fuzz::Require(set ? Keeps(changed) : changed == DeviceState{}, "a key that was set is kept, else nothing changes");
    const auto parse = [](const std::string& text) { return ParseDeviceState(text); };
    return Fuzz::RoundTrips(std::string(input), parse, SerializeDeviceState, DEVICE_STATE_FILE) || set;
}

const Fuzz::Registration REGISTRATION({"simulated_device_state", Samples, Run});

}  // namespace
}  // namespace Vexo::Simulated
