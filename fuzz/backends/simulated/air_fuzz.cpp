// The record that a simulated hotspot has in the air.
#include "backends/simulated/air.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Simulated {
namespace {

std::vector<std::string> Samples()
{
    return {SerializeAirRecord({"net", "02:00:00:00:00:01", HotspotSecurity::OPEN, "", AIR_ADDRESS_RANGE}),
            SerializeAirRecord(
                {"n\\\xFF", "02:00:00:00:00:01", HotspotSecurity::WPA2, std::string(64, 'a'), AIR_ADDRESS_RANGE})};
}

bool Run(std::string_view input)
{
    const auto parse = [](const std::string& text) { return ParseAirRecord(text, "record.json"); };
    return Fuzz::ReadsBack(std::string(input), parse, SerializeAirRecord, "record.json:");
}

const Fuzz::Registration REGISTRATION({"simulated_air", Samples, Run});

}  // namespace
}  // namespace Vexo::Simulated
