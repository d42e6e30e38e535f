// The record that a simulated hotspot has in the air.
#include "backends/simulated/air.h"

#include "fuzz/fuzz_target.h"
#include "platform/base/utf8.h"

namespace Vexo::Simulated {
namespace {

std::vector<std::string> Samples()
{
    return {SerializeAirRecord({"net", "02:00:00:00:00:01", HotspotSecurity::OPEN, "", AIR_ADDRESS_RANGE}),
            SerializeAirRecord(
                {"net", "02:00:00:00:00:01", HotspotSecurity::WPA2, std::string(64, 'a'), AIR_ADDRESS_RANGE})};
}

bool Run(std::string_view input)
{
    const auto record = ParseAirRecord(std::string(input));
    if (!record) {
        Fuzz::Require(!record.Message().empty(), "a refusal says why");
        return false;
    }
    const auto again = ParseAirRecord(SerializeAirRecord(record.Value()));
    const bool same = again && again.Value() == record.Value();
    Fuzz::Require(same || !IsUtf8(input), "a record is written as it is");
    return true;
}

const Fuzz::Registration REGISTRATION({"simulated_air", Samples, Run});

}  // namespace
}  // namespace Vexo::Simulated
