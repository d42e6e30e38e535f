// Fuzzes the decoder of a link's byte stream and the decoders of the payloads of its frames. The stream is decoded in
// pieces of different sizes.
#include "platform/softbus/link/frame.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::SoftBus {
namespace {

std::string Framed(FrameKind kind, const std::string& payload)
{
    return EncodeHeader(kind, payload.size()) + payload;
}

std::vector<std::string> Samples()
{
    const Hello hello{0x0E, std::string(64, 'a'), "phone", {{"tcp", "127.0.0.1:4000"}, {"rfcomm", "00:11"}}, 1'000, 7};
    return {Framed(FrameKind::STATE, "state") + Framed(FrameKind::REMOVED, "x") + Framed(FrameKind::CERTIFICATE, "x"),
            Framed(FrameKind::HELLO, EncodeHello(hello)) + Framed(FrameKind::PING, ""),
            Framed(FrameKind::OPEN, EncodeOpen({2, "server", "opener"})) + Framed(FrameKind::DATA, "message"),
            Framed(FrameKind::OPENED, EncodeOpened(-1)) + Framed(FrameKind::CLOSE, "")};
}

// Returns true if the frame's payload is valid. A valid payload must encode to the same bytes, unless a later version
// of the protocol has added fields to it.
bool Decodes(const Frame& frame)
{
    if (frame.kind == FrameKind::HELLO) {
        const auto hello = DecodeHello(frame.payload);
        const bool same = hello && EncodeHello(hello.value()).substr(1) == frame.payload.substr(1);
        Fuzz::Require(!hello || same || frame.payload[0] != HELLO_VERSION, "a HELLO encodes to itself");
        return hello.has_value();
    }
    if (frame.kind == FrameKind::OPEN) {
        const auto open = DecodeOpen(frame.payload);
        const bool same = open && EncodeOpen(open.value()).substr(1) == frame.payload.substr(1);
        Fuzz::Require(!open || same || frame.payload[0] != OPEN_VERSION, "an OPEN encodes to itself");
        return open.has_value();
    }
    if (frame.kind == FrameKind::OPENED) {
        const auto result = DecodeOpened(frame.payload);
        Fuzz::Require(!result || EncodeOpened(result.value()) == frame.payload, "an OPENED encodes to itself");
        return result.has_value();
    }
    return true;
}

bool Run(std::string_view input)
{
    FrameDecoder decoder;
    std::string again;
    bool accepted = true;
    size_t at = 0;
    for (size_t step = 1; at < input.size(); step = step * 3 % 61 + 1) {
        std::string_view part = input.substr(at, step);
        at += part.size();
        Frame frame;
        FrameDecoder::Status status{};
        while ((status = decoder.Next(part, frame)) == FrameDecoder::Status::FRAME) {
            again += Framed(frame.kind, frame.payload);
            accepted = Decodes(frame) && accepted;
        }
        const bool broken = status == FrameDecoder::Status::BROKEN;
        Fuzz::Require(broken ? !decoder.Problem().empty() : part.empty(),
                      "the decoder names the fault or consumes every byte");
    }
    Fuzz::Require(input.starts_with(again), "the frames are the stream's bytes in order");
    return accepted && again.size() == input.size() && !input.empty();
}

const Fuzz::Registration REGISTRATION({"softbus_frame", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
