#include <gtest/gtest.h>

#include "distributed/services/link/data_listener.h"
#include "distributed/services/service/distnet_errors.h"
#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr const char* TOO_LARGE = " SendStartHotspotResponseMessage error: message.size() > MAX_SEND_MESSAGE_SIZE";

std::string Frame(uint32_t declared, const std::string& text)
{
    std::string frame{'\x04'};
    for (int shift = 0; shift < 32; shift += 8) {
        frame += static_cast<char>(declared >> shift);
    }
    return frame + text;
}

std::string Frame(const std::string& text)
{
    return Frame(static_cast<uint32_t>(text.size()), text);
}

struct Parsed {
    int32_t code;
    Wifi::WifiDeviceConfig config;
};

Parsed Parse(const std::string& frame)
{
    std::vector<unsigned char> bytes(frame.begin(), frame.end());  // exact size: a read past it is an error
    Parsed parsed;
    parsed.config.ssid = parsed.config.preSharedKey = parsed.config.keyMgmt = "before";
    parsed.code = DataListener::GetInstance()->ParseStartHotspotResponseMessage(
        bytes.data(), static_cast<unsigned int>(bytes.size()), parsed.config);
    return parsed;
}

TEST(LinkMessageTest, RequestsAreTheseBytes)
{
    const MessageBytes hello = MessageTlvHelloRequest().getBytes();
    EXPECT_EQ(std::vector<int>(hello.get(), hello.get() + 4), (std::vector<int>{1, 2, 0, 3}));
    const MessageBytes start = MessageTlvStartHotspotRequest().getBytes();
    EXPECT_EQ(std::vector<int>(start.get(), start.get() + 3), (std::vector<int>{3, 2, 0}));
}

TEST(StartHotspotResponseTest, CompleteAnswerFillsTheConfiguration)
{
    const std::string json = R"({"RES": 0, "SSID": "net", "PRESHARED_KEY": "example-key", "SECURITY_TYPE": 4})";
    // As sent; declared longer than it is; and without "RES", which counts as success.
    for (const std::string& frame : {Frame(json), Frame(0x7fffffff, json),
                                     Frame(R"({"SSID":"net","PRESHARED_KEY":"example-key","SECURITY_TYPE":1.9})")}) {
        const Parsed parsed = Parse(frame);
        EXPECT_EQ(parsed.code, DISTNET_SUCCESS) << frame;
        EXPECT_EQ(parsed.config.ssid, "net");
        EXPECT_EQ(parsed.config.preSharedKey, "example-key");
        EXPECT_EQ(parsed.config.keyMgmt, "WPA-PSK");
    }
}

TEST(StartHotspotResponseTest, FaultyAnswerIsRefusedWithItsCodeAndChangesNothing)
{
    struct Case {
        const char* fault;
        std::string frame;
        int32_t code;
    };
    for (const Case& c : {
             Case{"4 bytes", std::string("\x04\0\0\0", 4), 401},
             Case{"declared length 0", Frame(0, ""), 1004500114},
             Case{"declared length 0 before text", Frame(0, "{}"), 1004500114},
             Case{"more bytes than declared", Frame(1, "{}"), 1004500114},
             Case{"nothing but a length", Frame(9, ""), 1004500115},
             Case{"no JSON", Frame("SSID"), 1004500115},
             Case{"cut off, the rest declared", Frame(99, R"({"RES":0)"), 1004500115},
             Case{"nested beyond the parser's limit", Frame(std::string(5000, '[') + std::string(5000, ']')),
                  1004500115},
             Case{"failure answer", Frame(R"({"RES": -97})"), -97},
             Case{"fraction", Frame(R"({"RES": -97.9})"), -97},
             Case{"number beyond the range", Frame(R"({"RES": 1e300, "SSID": "net"})"), 2147483647},
             Case{"number below the range", Frame(R"({"RES": -1e999, "SSID": "net"})"), -2147483647 - 1},
         }) {
        const Parsed parsed = Parse(c.frame);
        EXPECT_EQ(parsed.code, c.code) << c.fault;
        EXPECT_EQ(parsed.config.ssid, "before") << c.fault;
    }
}

TEST(StartHotspotResponseTest, MissingOrMistypedKeyLeavesItsFieldAsItWas)
{
    for (const char* json : {"{}", "[]", "7", R"({"RES":"-97","SSID":1,"PRESHARED_KEY":null,"SECURITY_TYPE":"1"})",
                             R"({"res":-97,"ssid":"net"})"}) {
        const Parsed parsed = Parse(Frame(json));
        EXPECT_EQ(parsed.code, DISTNET_SUCCESS) << json;
        EXPECT_EQ(parsed.config.ssid + parsed.config.preSharedKey + parsed.config.keyMgmt, "beforebeforebefore")
            << json;
    }
}

TEST(StartHotspotResponseTest, SecurityTypeBecomesAKeyManagement)
{
    const std::map<std::string, std::string> table{
        {"0", "NONE"}, {"1", "WPA-PSK"}, {"2", "WPA-EAP"}, {"3", "WPA-PSK"}, {"4", "WPA-PSK"}, {"5", ""},
        {"6", ""},     {"7", ""},        {"8", ""},        {"-1", ""},       {"1e300", ""}};
    for (const auto& [type, expected] : table) {
        EXPECT_EQ(Parse(Frame(R"({"SECURITY_TYPE":)" + type + "}")).config.keyMgmt, expected) << type;
    }
}

TEST(StartHotspotResponseTest, FrameIsSentUpToItsLimitAndFaultsHaveTheirCodes)
{
    Tests::InstalledRegistry registry;
    const Tests::LogCapture log;
    const auto softBus = registry.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
    const auto send = [](size_t size) {
        return DataListener::GetInstance()->SendStartHotspotResponseMessage(5, std::string(size, 'x'));
    };
    EXPECT_EQ(send(46076), 401);
    EXPECT_TRUE(log.Contains(TOO_LARGE));
    EXPECT_EQ(send(0), 1004500114);
    EXPECT_TRUE(softBus->AllSent().empty());

    EXPECT_EQ(send(46075), 0);
    ASSERT_EQ(softBus->AllSent().size(), 1U);
    EXPECT_EQ(softBus->AllSent()[0].bytes, Frame(std::string(46075, 'x')));
    EXPECT_TRUE(log.Contains(" SendHelloMessage request: 4, 2, 46075"));

    softBus->sendResult = SOFTBUS_QUEUE_FULL;
    EXPECT_EQ(send(1), 1004500123);
    EXPECT_TRUE(log.Contains(" SendBytes fail, errorCode:-7"));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
