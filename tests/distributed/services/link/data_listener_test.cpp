#include "distributed/services/link/data_listener.h"

#include "tests/distributed/services/link/link_fixture.h"

namespace Vexo::NetManagerStandard {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Tests::ResponseFrame;

// Parses the frame. Returns the result code and the fields that were set, in the form "code ssid|key|key management". A
// "-" marks a field that was not set.
std::string Parse(const std::string& frame)
{
    // The size is exact, so that a sanitizer reports a read beyond the frame.
    std::vector<unsigned char> bytes(frame.begin(), frame.end());
    Wifi::WifiDeviceConfig config;
    config.ssid = config.preSharedKey = config.keyMgmt = "-";
    const int32_t code = DataListener::GetInstance()->ParseStartHotspotResponseMessage(
        bytes.data(), static_cast<unsigned int>(bytes.size()), config);
    return std::to_string(code) + " " + config.ssid + "|" + config.preSharedKey + "|" + config.keyMgmt;
}

using DataListenerTest = LinkTest;

TEST(ParseTest, EachFrameYieldsItsCodeAndFields)
{
    const std::string json = R"({"RES": 0, "SSID": "net", "PRESHARED_KEY": "example-key", "SECURITY_TYPE": 4})";
    struct Case {
        const char* what;
        std::string frame;
        const char* expected;
    };
    for (const Case& c : {
             Case{"as sent", ResponseFrame(json), "0 net|example-key|WPA-PSK"},
             Case{"without RES", ResponseFrame(R"({"SSID":"net","SECURITY_TYPE":1.9})"), "0 net|-|WPA-PSK"},
             Case{"4 bytes", std::string("\x04\0\0\0", 4), "401 -|-|-"},
             Case{"more bytes than declared", ResponseFrame(json, 1), "1004500114 -|-|-"},
             Case{"nested beyond the limit", ResponseFrame(std::string(5000, '[') + std::string(5000, ']')),
                  "1004500115 -|-|-"},
             Case{"fraction", ResponseFrame(R"({"RES": -97.9})"), "-97 -|-|-"},
             Case{"beyond the range", ResponseFrame(R"({"RES": 1e300, "SSID": "net"})"), "2147483647 -|-|-"},
             Case{"no keys", ResponseFrame(R"({"res":-97,"ssid":"net"})"), "0 -|-|-"},
             Case{"other types", ResponseFrame(R"({"RES":"-97","SSID":1,"PRESHARED_KEY":null,"SECURITY_TYPE":"1"})"),
                  "0 -|-|-"},
         }) {
        EXPECT_EQ(Parse(c.frame), c.expected) << c.what;
    }
    const std::pair<const char*, std::string> types[] = {{"0", "NONE"},    {"1", "WPA-PSK"}, {"2", "WPA-EAP"},
                                                         {"3", "WPA-PSK"}, {"4", "WPA-PSK"}, {"5", ""},
                                                         {"-1", ""},       {"1e300", ""}};
    for (const auto& [type, expected] : types) {
        EXPECT_EQ(Parse(ResponseFrame(std::string(R"({"SECURITY_TYPE":)") + type + "}")), "0 -|-|" + expected) << type;
    }
}

TEST_F(DataListenerTest, ResponseIsSentUpToSizeLimitAndFaultsHaveCodes)
{
    const auto send = [](size_t size) {
        return DataListener::GetInstance()->SendStartHotspotResponseMessage(SESSION, std::string(size, 'x'));
    };
    EXPECT_EQ(send(46076), 401);
    EXPECT_EQ(send(0), 1004500114);
    EXPECT_THAT(softBus_->Take(), IsEmpty());
    EXPECT_EQ(send(46075), 0);
    EXPECT_THAT(softBus_->Take(), ElementsAre(SEND + ResponseFrame(std::string(46075, 'x'))));
    softBus_->sendResult = SOFTBUS_QUEUE_FULL;
    EXPECT_EQ(send(1), 1004500123);
}

TEST_F(DataListenerTest, ActiveHotspotIsNotEnabledAgainAndFailureClosesSession)
{
    const auto hotspot = registry_.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    const std::string failure = SEND + ResponseFrame("{\n\t\"RES\":\t-97\n}");
    const std::string success = "\"RES\":\t0,";
    struct Case {
        const char* what;
        bool isActive;
        int32_t enable;
        int32_t config;
        int send;
        std::string answer;
        bool isClosed;
    };
    for (const Case& c : {
             Case{"open already", true, 5, 0, 0, success, false},
             Case{"not enabled", false, 5, 0, 0, failure, true},
             Case{"no configuration", false, 0, 5, 0, failure, true},
             Case{"not sent", false, 0, 0, SOFTBUS_QUEUE_FULL, success, true},
         }) {
        hotspot->active = c.isActive;
        hotspot->enableResult = c.enable;
        hotspot->configResult = c.config;
        softBus_->sendResult = c.send;
        Receive(REQUEST);
        std::vector<testing::Matcher<std::string>> calls{HasSubstr(c.answer), CLOSE};
        calls.resize(c.isClosed ? 2 : 1);
        EXPECT_THAT(softBus_->Take(), testing::ElementsAreArray(calls)) << c.what;
    }
}

TEST_F(DataListenerTest, FramesUpToFourMebibytesReachHandler)
{
    registry_.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    Receive(REQUEST + std::string(4194302, '\0'));
    Receive(REQUEST, -1);
    EXPECT_THAT(softBus_->Take(), IsEmpty());
    Receive(REQUEST + std::string(4194301, '\0'));
    EXPECT_EQ(softBus_->Take().size(), 1U);
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
