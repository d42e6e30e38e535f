// Fuzzes the decoders of what Avahi finds on the network: an instance name, and the address of a host. Any device of
// the network can announce both.
#include "backends/linux/dns_sd_browser.h"
#include "fuzz/fuzz_target.h"
#include "platform/base/hex.h"
#include "platform/base/host_port.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::Linux {
namespace {

constexpr int WIFI = 3;
const std::vector<LanAddress> LAN{
    {WIFI, false, "192.0.2.7", 24}, {WIFI, true, "2001:db8::7", 64}, {WIFI, false, "198.51.100.9", 0}};

std::vector<std::string> Samples()
{
    return {"0123456789abcdef-89abcdef", "192.0.2.77", "2001:db8::abcd:7", "2001:0db8:0:0:1::c0a8"};
}

bool Run(std::string_view input)
{
    const std::string text(input);
    const std::string token = TokenOf(text);
    Fuzz::Require(token.empty() ||
                      (token.size() == Trust::TOKEN_BYTES &&
                       text.starts_with(HexOf({reinterpret_cast<const uint8_t*>(token.data()), token.size()}) + "-")),
                  "an instance name begins with its token");
    const bool isOnLink = IsOnLink(LAN, WIFI, text);
    Fuzz::Require(!IsOnLink(LAN, WIFI + 1, text), "another interface has no address");
    if (isOnLink) {
        const auto address = ParseHostPort(ToText(HostPort{text, 40117}));
        Fuzz::Require(address && address.value().host == text, "an address on the link can be dialled");
    }
    return !token.empty() || isOnLink;
}

const Fuzz::Registration REGISTRATION({"dns_sd", Samples, Run});

}  // namespace
}  // namespace Vexo::Linux
