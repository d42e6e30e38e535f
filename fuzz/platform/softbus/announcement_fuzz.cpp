// The file by which a device announces itself in a shared folder.
#include "fuzz/fuzz_target.h"
#include "platform/base/hex.h"
#include "platform/softbus/discovery/announcements.h"
#include "platform/softbus/link/frame.h"

namespace Vexo::SoftBus {
namespace {

std::vector<std::string> Samples()
{
    return {EncodeAnnouncement({std::string(64, 'a'), {"tcp", "127.0.0.1:40117"}})};
}

bool Run(std::string_view input)
{
    const auto decoded = DecodeAnnouncement(std::string(input));
    if (!decoded) {
        Fuzz::Require(!decoded.error().message.empty(), "a refusal says why");
        return false;
    }
    Fuzz::Require(IsHexId(decoded.value().networkId), "an announcement names a device");
    const auto again = DecodeAnnouncement(EncodeAnnouncement(decoded.value()));
    Fuzz::Require(
        again && again.value().networkId == decoded.value().networkId && again.value().where == decoded.value().where,
        "an announcement encodes to itself");
    return true;
}

const Fuzz::Registration REGISTRATION({"softbus_announcement", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
