// Fuzzes the decoder of the file with which a device announces itself in a shared folder. The file contains the
// device's announcement token (announcement_tokens.h).
#include "fuzz/fuzz_target.h"
#include "platform/softbus/discovery/folder_channel.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus {
namespace {

std::vector<std::string> Samples()
{
    return {EncodeFolderAnnouncement({"8 bytes.", {{"tcp", "127.0.0.1:40117"}}})};
}

bool Run(std::string_view input)
{
    const auto decoded = DecodeFolderAnnouncement(std::string(input), "file");
    if (!decoded) {
        Fuzz::Require(decoded.error().message.starts_with("file:"), "a refusal names the file");
        return false;
    }
    Fuzz::Require(decoded.value().token.size() == Trust::TOKEN_BYTES, "an announcement has a token");
    const auto again = DecodeFolderAnnouncement(EncodeFolderAnnouncement(decoded.value()), "file");
    Fuzz::Require(again && again.value() == decoded.value(), "an announcement encodes to itself");
    return true;
}

const Fuzz::Registration REGISTRATION({"folder_announcement", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
