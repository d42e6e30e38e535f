#include "backends/simulated/device_state.h"
#include "interfaces/host_answers_json.h"
#include "platform/base/text.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/state_owner.h"

namespace Vexo::Ctl {

namespace {

constexpr const char* NAME_THE_FOLDER = "Name the state folder of a simulated device with --state DIR.";

Json StateDetails(const Simulated::DeviceState& state)
{
    Json values = NewObject();
    for (const Simulated::DeviceStateEntry& entry : Simulated::DescribeDeviceState(state)) {
        Json value = entry.isText ? nullptr : ParseJson(entry.value);
        AddMember(values.get(), entry.key.c_str(), value ? std::move(value) : Host::ToJson(entry.value));
    }
    Json details = NewObject();
    AddMember(details.get(), "state", std::move(values));
    return details;
}

// Returns the value of a command-line option. Finds "OPTION VALUE" and "OPTION=VALUE"; if there are several, the last
// one counts.
std::optional<std::string> ValueOf(const std::string& option, int argc, const char* const* argv)
{
    std::optional<std::string> value;
    for (int at = 1; at < argc; ++at) {
        const std::string word = argv[at];
        if (word == option && at + 1 < argc) {
            value = argv[at + 1];
        } else if (word.starts_with(option + "=")) {
            value = word.substr(option.size() + 1);
        }
    }
    return value;
}

}  // namespace

bool IsSimulated(const GlobalOptions& defaults, int argc, const char* const* argv)
{
    const auto hasSettings = [](const std::filesystem::path& folder) {
        std::error_code unknown;
        return std::filesystem::exists(folder / Simulated::DEVICE_STATE_FILE, unknown);
    };
    if (const auto named = ValueOf("--state", argc, argv)) {
        return hasSettings(*named);
    }
    const std::filesystem::path socket = ValueOf("--socket", argc, argv).value_or(defaults.socket);
    return hasSettings(socket.parent_path()) || hasSettings(defaults.stateDir);
}

int RunSimShow(const GlobalOptions& options, Output& output)
{
    auto state = AsOwnerOf(options.stateDir, [&] { return Simulated::LoadDeviceState(options.stateDir); });
    if (!state) {
        return output.Finish(StateFailure(options.stateDir, state.error().message, NAME_THE_FOLDER));
    }
    output.Line("KEY                             VALUE         ALLOWED");
    for (const Simulated::DeviceStateEntry& entry : Simulated::DescribeDeviceState(state.value())) {
        const bool unusedFault = entry.key.starts_with("faults.") && entry.isDefault;
        if (!unusedFault) {
            std::string before =
                Column(entry.key, 31) + " " + Column(entry.value.empty() ? "-" : entry.value, 13) + " ";
            for (const std::string& piece : Wrap(entry.allowed, COLUMNS - TextWidth(before))) {
                output.Line(before + piece);
                before = std::string(TextWidth(before), ' ');
            }
        }
    }
    output.Line("Faults: faults.CALL.code, .delay_ms, .no_answer; shown when set.");
    return output.Finish(Done(output.IsJson() ? "the simulated device's state" : "", StateDetails(state.value())));
}

int RunSimSet(const GlobalOptions& options, Output& output, const std::vector<std::string>& assignments)
{
    auto state =
        AsOwnerOf(options.stateDir, [&] { return Simulated::UpdateDeviceState(options.stateDir, assignments); });
    if (!state) {
        if (IsClosedToUser(options.stateDir)) {
            return output.Finish(StateFailure(options.stateDir, state.error().message, ""));
        }
        std::error_code unknown;
        const bool isPresent = std::filesystem::exists(options.stateDir / Simulated::DEVICE_STATE_FILE, unknown);
        return output.Finish(
            UsageError(state.error().message,
                       isPresent ? "`distnetctl sim show` lists the keys and what they allow." : NAME_THE_FOLDER));
    }
    return output.Finish(Done("Set; the device's daemon follows at once.", StateDetails(state.value())));
}

}  // namespace Vexo::Ctl
