#include "platform/softbus/link/frame.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "platform/softbus/softbus_service.h"

namespace Vexo::SoftBus {
namespace {

using Status = FrameDecoder::Status;

const std::string ID(64, 'a');

Hello SomeHello()
{
    return {DEVICE_TYPE_PHONE, ID, "phone", {{"tcp", "127.0.0.1:4000"}, {"rfcomm", "00:11:22:33:44:55"}}, 1'000, 7,
            "digest 8"};
}

TEST(FrameDecoder, InvalidHeaderIsRefusedBeforeItsPayload)
{
    const struct {
        const char* fault;
        uint32_t length;
        FrameKind kind;
        Status status = Status::BROKEN;
    } faults[] = {
        {"a message of 4 MiB", MAX_SESSION_BYTES, FrameKind::DATA, Status::MORE},
        {"a message of 4 MiB + 1", MAX_SESSION_BYTES + 1, FrameKind::DATA},
        {"an empty message", 0, FrameKind::DATA},
        {"the largest length", 0xFFFFFFFF, FrameKind::DATA},
        {"kind 0", 0, FrameKind{0}},
        {"an unknown kind", 0, FrameKind{11}},
        {"a HELLO too long", MAX_HELLO_BYTES + 1, FrameKind::HELLO},
        {"an OPEN too long", MAX_OPEN_BYTES + 1, FrameKind::OPEN},
        {"an OPENED of 3 bytes", 3, FrameKind::OPENED},
        {"a PING with a payload", 1, FrameKind::PING},
        {"a state of 64 KiB", 65'536, FrameKind::STATE, Status::MORE},
        {"a state of 64 KiB + 1", 65'537, FrameKind::STATE},
        {"an empty state", 0, FrameKind::STATE},
        {"a removal too long", MAX_REMOVED_BYTES + 1, FrameKind::REMOVED},
        {"a certificate too long", MAX_CERTIFICATE_BYTES + 1, FrameKind::CERTIFICATE},
    };
    EXPECT_EQ(EncodeHeader(FrameKind::DATA, 3), std::string("\3\0\0\0\4", 5));
    for (const auto& fault : faults) {
        FrameDecoder decoder;
        Frame frame;
        const std::string bytes = EncodeHeader(fault.kind, fault.length);
        std::string_view input = bytes;
        EXPECT_EQ(decoder.Next(input, frame), fault.status) << fault.fault;
        const std::string ping = EncodeHeader(FrameKind::PING, 0);
        input = ping;
        EXPECT_EQ(decoder.Next(input, frame), fault.status) << "it stays so";
    }
}

using Faults = std::vector<std::pair<const char*, std::string>>;

template <typename Decoder>
void ExpectRefused(Decoder decode, const Faults& faults)
{
    for (const auto& [fault, bytes] : faults) {
        EXPECT_FALSE(decode(bytes)) << fault;
    }
}

TEST(FramePayload, DamagedHelloIsRefused)
{
    const auto with = [](const std::function<void(Hello&)>& change) {
        Hello hello = SomeHello();
        change(hello);
        return EncodeHello(hello);
    };
    const std::string whole = EncodeHello(SomeHello());
    constexpr size_t END_BYTES = sizeof(Hello::stateNumber) + STATE_DIGEST_BYTES;
    const auto addresses = [&](size_t count) {
        const std::string hello = with([&](Hello& h) { h.addresses.resize(count); });
        return hello.substr(0, hello.size() - END_BYTES);
    };
    const std::string none = addresses(0);
    std::string nine = none.substr(0, none.size() - 1) + '\x09';
    for (int i = 0; i < 9; ++i) {
        nine += addresses(1).substr(none.size());
    }
    nine += whole.substr(whole.size() - END_BYTES);
    Faults faults{
        {"version 0", '\0' + whole.substr(1)},
        {"bytes after the last field", whole + "more"},
        {"a state's number in version 1", '\1' + whole.substr(1)},
        {"short device id", with([](Hello& h) { h.deviceId.pop_back(); })},
        {"upper-case device id", with([](Hello& h) { h.deviceId[5] = 'A'; })},
        {"empty name", with([](Hello& h) { h.deviceName.clear(); })},
        {"NUL in the name", with([](Hello& h) { h.deviceName[0] = '\0'; })},
        {"a name that is no UTF-8", with([](Hello& h) { h.deviceName[0] = '\xFF'; })},
        {"a transport that is no UTF-8", with([](Hello& h) { h.addresses[0].transport[0] = '\x80'; })},
        {"NUL in an address", with([](Hello& h) { h.addresses[0].address[0] = '\0'; })},
        {"nine addresses", nine},
        {"clock before 1970", with([](Hello& h) { h.clockMs = -1; })},
    };
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        faults.emplace_back("cut off", whole.substr(0, cut));
    }
    ExpectRefused(DecodeHello, faults);
    std::string longName = "x";
    while (longName.size() < 2 * DEVICE_NAME_BUF_LEN) {
        longName += "\u00E9";
    }
    EXPECT_TRUE(DecodeHello(with([&](Hello& h) { h.deviceName = longName; }))) << "it is cut between characters";
    const auto later = DecodeHello('\3' + whole.substr(1) + "more");
    ASSERT_TRUE(later) << "a later version may have more fields";
    EXPECT_EQ(later.value().stateNumber, 7u);
    EXPECT_EQ(later.value().stateDigest, "digest 8");
    const auto first = DecodeHello('\1' + whole.substr(1, whole.size() - END_BYTES - 1));
    ASSERT_TRUE(first) << "version 1 knows no state";
    EXPECT_EQ(first.value().stateNumber, 0u);
}

TEST(FramePayload, DamagedOpenIsRefused)
{
    ExpectRefused(DecodeOpen, {{"data type 3", EncodeOpen({3, "a", "b"})},
                               {"empty server name", EncodeOpen({TYPE_BYTES, "", "b"})},
                               {"empty opener name", EncodeOpen({TYPE_BYTES, "a", ""})},
                               {"a server name that is no UTF-8", EncodeOpen({TYPE_BYTES, "\xC0\xAF", "b"})},
                               {"an opener name that is no UTF-8", EncodeOpen({TYPE_BYTES, "a", "\xED\xA0\x80"})},
                               {"a byte too many", EncodeOpen({TYPE_BYTES, "a", "b"}) + "x"},
                               {"a field cut off", EncodeOpen({TYPE_BYTES, "a", "bc"}).substr(0, 6)}});
    EXPECT_TRUE(DecodeOpen(EncodeOpen({TYPE_BYTES, std::string(255, 'n'), "b"})));
    EXPECT_FALSE(DecodeOpened(EncodeOpened(1))) << "a positive result";
}

}  // namespace
}  // namespace Vexo::SoftBus
