// Fuzzes the parsers of the records that simulated hotspots and stations write. They write the records to the air
// folder, which stands for the radio.
#include "backends/simulated/air.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Simulated {
namespace {

std::vector<std::string> Samples()
{
    return {SerializeAirRecord({"net", "02:00:00:00:00:01", HotspotSecurity::OPEN, "", AIR_ADDRESS_RANGE}),
            SerializeAirRecord(
                {"n\\\xFF", "02:00:00:00:00:01", HotspotSecurity::WPA2, std::string(64, 'a'), AIR_ADDRESS_RANGE}),
            SerializeStationRecord({"02:00:00:00:00:01", "06:00:00:00:00:02", uint64_t{1} << 53, 1})};
}

bool Run(std::string_view input)
{
    const auto parse = [](const std::string& text) { return ParseAirRecord(text, "record.json"); };
    const auto parseStation = [](const std::string& text) { return ParseStationRecord(text, "record.json"); };
    const bool isHotspot = Fuzz::RoundTrips(std::string(input), parse, SerializeAirRecord, "record.json:");
    return Fuzz::RoundTrips(std::string(input), parseStation, SerializeStationRecord, "record.json:") || isHotspot;
}

const Fuzz::Registration REGISTRATION({"simulated_air", Samples, Run});

}  // namespace
}  // namespace Vexo::Simulated
