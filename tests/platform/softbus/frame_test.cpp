#include "platform/softbus/frame.h"

#include <gtest/gtest.h>

#include "platform/softbus/announcements.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::SoftBus {

namespace {

using Status = FrameDecoder::Status;

std::string Header(uint32_t length, uint8_t kind)
{
    std::string header;
    for (int i = 0; i < 4; ++i) {
        header.push_back(static_cast<char>(length >> (8 * i)));
    }
    header.push_back(static_cast<char>(kind));
    return header;
}

const std::string ID(64, 'a');

Hello SomeHello()
{
    return {DEVICE_TYPE_PHONE, ID, "phone", {{"tcp", "127.0.0.1:4000"}, {"rfcomm", "00:11:22:33:44:55"}}};
}

TEST(FrameDecoder, CutsTheSameFramesHoweverTheBytesArrive)
{
    const std::string large(100'000, 'x');
    const std::string stream = EncodeHeader(FrameKind::DATA, 3) + "abc" + EncodeHeader(FrameKind::PING, 0) +
                               EncodeHeader(FrameKind::DATA, large.size()) + large + EncodeHeader(FrameKind::CLOSE, 0);
    for (const size_t step : {size_t{1}, size_t{4}, size_t{7}, size_t{16384}, stream.size()}) {
        FrameDecoder decoder;
        std::vector<Frame> frames;
        for (size_t at = 0; at < stream.size(); at += step) {
            std::string_view part = std::string_view(stream).substr(at, step);
            Frame frame;
            while (decoder.Next(part, frame) == Status::FRAME) {
                frames.push_back(std::move(frame));
            }
            EXPECT_TRUE(part.empty());
        }
        ASSERT_EQ(frames.size(), 4u) << step;
        EXPECT_EQ(frames[0].payload, "abc");
        EXPECT_EQ(frames[1].kind, FrameKind::PING);
        EXPECT_EQ(frames[2].payload, large);
        EXPECT_EQ(frames[3].kind, FrameKind::CLOSE);
    }
}

TEST(FrameDecoder, RefusesAHeaderThatBreaksTheRulesBeforeItsPayload)
{
    const struct {
        const char* fault;
        std::string header;
    } faults[] = {
        {"kind 0", Header(0, 0)},
        {"unknown kind", Header(0, 7)},
        {"a message of 4 MiB + 1", Header(MAX_SESSION_BYTES + 1, 4)},
        {"an empty message", Header(0, 4)},
        {"a HELLO too long", Header(MAX_HELLO_BYTES + 1, 1)},
        {"an OPEN too long", Header(MAX_OPEN_BYTES + 1, 2)},
        {"an OPENED of 3 bytes", Header(3, 3)},
        {"a PING with a payload", Header(1, 5)},
        {"a CLOSE with a payload", Header(1, 6)},
        {"the largest length", Header(0xFFFFFFFF, 4)},
    };
    for (const auto& fault : faults) {
        FrameDecoder decoder;
        Frame frame;
        std::string_view input = fault.header;
        EXPECT_EQ(decoder.Next(input, frame), Status::BROKEN) << fault.fault;
        EXPECT_FALSE(decoder.Problem().empty());
        const std::string ping = EncodeHeader(FrameKind::PING, 0);
        std::string_view good = ping;
        EXPECT_EQ(decoder.Next(good, frame), Status::BROKEN) << "it stays broken";
    }
    FrameDecoder decoder;
    Frame frame;
    const std::string header = Header(MAX_SESSION_BYTES, 4);
    std::string_view input = header;
    EXPECT_EQ(decoder.Next(input, frame), Status::MORE) << "4 MiB are allowed";
}

TEST(FramePayload, ComesBackAsItWent)
{
    const Result<Hello> hello = DecodeHello(EncodeHello(SomeHello()));
    ASSERT_TRUE(hello) << hello.Message();
    EXPECT_EQ(hello.Value().deviceTypeId, DEVICE_TYPE_PHONE);
    EXPECT_EQ(hello.Value().deviceId, ID);
    EXPECT_EQ(hello.Value().deviceName, "phone");
    EXPECT_EQ(hello.Value().addresses, SomeHello().addresses);

    const std::string longest(255, 'n');
    const Result<Open> open = DecodeOpen(EncodeOpen({TYPE_BYTES, longest, "b"}));
    ASSERT_TRUE(open) << open.Message();
    EXPECT_EQ(open.Value().serverName, longest);
    EXPECT_EQ(open.Value().openerName, "b");

    EXPECT_EQ(DecodeOpened(EncodeOpened(SOFTBUS_LIMIT)).Value(), SOFTBUS_LIMIT);
}

TEST(FramePayload, OfALaterVersionMayHaveMoreFields)
{
    std::string later = EncodeHello(SomeHello()) + "more";
    EXPECT_FALSE(DecodeHello(later));
    later[0] = 2;
    EXPECT_TRUE(DecodeHello(later));
}

TEST(FramePayload, DamagedIsRefused)
{
    const auto helloWith = [](auto change) {
        Hello hello = SomeHello();
        change(hello);
        return EncodeHello(hello);
    };
    const std::pair<const char*, std::string> hellos[] = {
        {"version 0", '\0' + EncodeHello(SomeHello()).substr(1)},
        {"short device id", helloWith([](Hello& h) { h.deviceId.pop_back(); })},
        {"upper-case device id", helloWith([](Hello& h) { h.deviceId[5] = 'A'; })},
        {"empty name", helloWith([](Hello& h) { h.deviceName.clear(); })},
        {"NUL in the name", helloWith([](Hello& h) { h.deviceName[0] = '\0'; })},
        {"NUL in an address", helloWith([](Hello& h) { h.addresses[0].address[0] = '\0'; })},
        {"nine addresses", EncodeHello({0, ID, "n", {}}).substr(0, 3 + 65 + 2) + '\x09'},
    };
    for (const auto& [fault, bytes] : hellos) {
        EXPECT_FALSE(DecodeHello(bytes)) << fault;
    }
    const std::string whole = EncodeHello(SomeHello());
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_FALSE(DecodeHello(whole.substr(0, cut))) << cut;
    }

    const std::pair<const char*, std::string> opens[] = {
        {"data type 3", EncodeOpen({3, "a", "b"})},
        {"empty server name", EncodeOpen({TYPE_BYTES, "", "b"})},
        {"empty opener name", EncodeOpen({TYPE_BYTES, "a", ""})},
        {"a byte too many", EncodeOpen({TYPE_BYTES, "a", "b"}) + "x"},
        {"a field cut off", EncodeOpen({TYPE_BYTES, "a", "bc"}).substr(0, 6)},
    };
    for (const auto& [fault, bytes] : opens) {
        EXPECT_FALSE(DecodeOpen(bytes)) << fault;
    }
    EXPECT_FALSE(DecodeOpened(EncodeOpened(1))) << "a positive result";
}

TEST(Announcement, IsReadBackAndDamagedOnesAreRefused)
{
    const Announcement announcement{ID, {"tcp", "127.0.0.1:4000"}};
    const std::string text = EncodeAnnouncement(announcement);
    ASSERT_TRUE(DecodeAnnouncement(text));
    EXPECT_EQ(DecodeAnnouncement(text).Value().where, announcement.where);

    const std::string faults[] = {
        "",
        "[]",
        text.substr(0, text.size() / 2),
        R"({"version": 2, "network_id": ")" + ID + R"(", "transport": "tcp", "address": "a:1"})",
        R"({"version": 1, "network_id": "abc", "transport": "tcp", "address": "a:1"})",
        R"({"version": 1, "network_id": ")" + ID + R"(", "transport": 7, "address": "a:1"})",
        R"({"version": 1, "network_id": ")" + ID + R"(", "transport": "tcp"})",
    };
    for (const std::string& fault : faults) {
        EXPECT_FALSE(DecodeAnnouncement(fault)) << fault;
    }
}

}  // namespace

}  // namespace Vexo::SoftBus
