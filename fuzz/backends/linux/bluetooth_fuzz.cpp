// Fuzzes the decoders of Bluetooth addresses and of Bluetooth service data, which any device nearby may advertise.
#include "backends/linux/bluetooth_address.h"
#include "fuzz/fuzz_target.h"

namespace Vexo::Linux {
namespace {

std::vector<std::string> Samples()
{
    return {"AA:BB:CC:DD:EE:FF/random/129", "02:00:00:00:00:01/public/255", "\x01\x81tokenABC"};
}

bool Run(std::string_view input)
{
    const std::vector<uint8_t> bytes(input.begin(), input.end());
    const auto data = DecodeServiceData(bytes);
    Fuzz::Require(!data || EncodeServiceData(*data) == bytes, "service data read back as they were");
    const Result<BluetoothAddress> address = ParseBluetoothAddress(std::string(input));
    Fuzz::Require(!address || ParseBluetoothAddress(ToText(*address)).value() == *address, "an address reads back");
    return data || address;
}

const Fuzz::Registration REGISTRATION({"bluetooth", Samples, Run});

}  // namespace
}  // namespace Vexo::Linux
