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
    const auto record = ParseAirRecord(std::string(input), "record.json");
    if (!record) {
        Fuzz::Require(record.error().message.starts_with("record.json:"), "a refusal names the file");
        return false;
    }
    const auto again = ParseAirRecord(SerializeAirRecord(record.value()), "record.json");
    Fuzz::Require(again && again.value() == record.value(), "a record is written as it is");
    return true;
}

const Fuzz::Registration REGISTRATION({"simulated_air", Samples, Run});

}  // namespace
}  // namespace Vexo::Simulated
