// Fuzzes the parser of HOST:PORT, the form of network addresses in tickets, in the configuration and in messages of
// peers.
#include "platform/base/host_port.h"

#include "fuzz/fuzz_target.h"

namespace Vexo {
namespace {

std::vector<std::string> Samples()
{
    return {"192.0.2.7:40117", "[2001:db8::7]:0", "[fe80::1%wlan0]:65535", "phone.local:7"};
}

bool Run(std::string_view input)
{
    const Result<HostPort> address = ParseHostPort(std::string(input));
    if (!address) {
        Fuzz::Require(address.error().message.find("HOST:PORT") != std::string::npos, "a refusal names the form");
        return false;
    }
    const std::string text = ToText(address.value());
    const Result<HostPort> again = ParseHostPort(text);
    Fuzz::Require(again && again.value().host == address.value().host && again.value().port == address.value().port,
                  "an address reads back");
    Fuzz::Require(text.find_first_of(std::string_view("\0 \n/", 4)) == std::string::npos,
                  "an address is one word without a path");
    return true;
}

const Fuzz::Registration REGISTRATION({"host_port", Samples, Run});

}  // namespace
}  // namespace Vexo
