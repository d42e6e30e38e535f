// Feeds the decoders of the link with whatever a peer could send: the stream decoder in pieces of changing size, then
// each payload to the decoder of its kind, and the whole input to those of announcements. What decodes must encode to
// itself. Build with clang's -fsanitize=fuzzer,address,undefined.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/softbus/announcements.h"
#include "platform/softbus/frame.h"

using namespace Vexo::SoftBus;

namespace {

void Require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void DecodePayload(const Frame& frame)
{
    if (frame.kind == FrameKind::HELLO) {
        const auto hello = DecodeHello(frame.payload);
        if (hello && frame.payload[0] == static_cast<char>(LINK_VERSION)) {
            Require(EncodeHello(hello.Value()) == frame.payload);
        }
    } else if (frame.kind == FrameKind::OPEN) {
        const auto open = DecodeOpen(frame.payload);
        if (open && frame.payload[0] == static_cast<char>(LINK_VERSION)) {
            Require(EncodeOpen(open.Value()) == frame.payload);
        }
    } else if (frame.kind == FrameKind::OPENED) {
        const auto result = DecodeOpened(frame.payload);
        Require(!result || EncodeOpened(result.Value()) == frame.payload);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    FrameDecoder decoder;
    size_t step = 1;
    for (size_t at = 0; at < size; at += step, step = step * 3 % 61 + 1) {
        std::string_view part = input.substr(at, step);
        Frame frame;
        FrameDecoder::Status status = FrameDecoder::Status::MORE;
        while ((status = decoder.Next(part, frame)) == FrameDecoder::Status::FRAME) {
            Require(frame.payload.size() <= Vexo::SoftBus::MAX_HELLO_BYTES || frame.kind == FrameKind::DATA);
            DecodePayload(frame);
        }
        Require(status == FrameDecoder::Status::BROKEN ? !decoder.Problem().empty() : part.empty());
    }
    const auto announcement = DecodeAnnouncement(std::string(input));
    if (announcement) {
        Require(DecodeAnnouncement(EncodeAnnouncement(announcement.Value())).Ok());
    }
    return 0;
}
