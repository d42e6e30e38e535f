#include "distributed/services/link/data_listener.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/link/soft_bus_adapter.h"
#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr int SESSION = 5;
constexpr const char* SECRET = "example-passphrase";
const std::string REQUEST("\x03\x02\x00", 3);
const std::string FAILURE_ANSWER = "{\n\t\"RES\":\t-97\n}";
const std::string SUCCESS_ANSWER =
    "{\n\t\"RES\":\t0,\n\t\"SSID\":\t\"phone-net\",\n\t\"PRESHARED_KEY\":\t\"example-passphrase\",\n"
    "\t\"SECURITY_TYPE\":\t4\n}";

std::string ResponseFrame(const std::string& json)
{
    return std::string{'\x04', static_cast<char>(json.size()), 0, 0, 0} + json;
}

class DataListenerTest : public testing::Test {
protected:
    DataListenerTest() { SoftBusAdapter::GetInstance()->CreateSoftBusSessionServer(); }

    void Receive(const std::string& bytes, int sessionId = SESSION)
    {
        softBus_->listener.OnBytesReceived(sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    // What a waiting request returns when this frame arrives.
    int32_t OutcomeOf(const std::string& frame)
    {
        softBus_->onSend = [this, frame](const auto&) {
            log_.WaitFor(" SendStartHotspotMessage wait result", ++requests_);
            Receive(frame);
        };
        return SoftBusAdapter::GetInstance()->SendStartHotspotMessage(SESSION);
    }

    const Tests::LogCapture log_;
    size_t requests_ = 0;
    Tests::InstalledRegistry registry_;
    const sptr<Tests::FakeSoftBus> softBus_ = registry_.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
};

TEST_F(DataListenerTest, FramesOutsideTheLimitsReachNoHandler)
{
    registry_.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    std::string large(4194305, '\0');
    large[0] = '\x03';
    Receive("\x03\x02");
    Receive(large);
    Receive(REQUEST, -1);
    softBus_->listener.OnBytesReceived(SESSION, nullptr, 3);
    EXPECT_EQ(log_.Count(" OnBytesReceived param check failed"), 4U);
    EXPECT_TRUE(softBus_->AllSent().empty());

    large.pop_back();
    Receive(large);
    EXPECT_TRUE(log_.Contains(" HandleMessageStartHotSpot start")) << "4 MiB are allowed";
}

TEST_F(DataListenerTest, HelloAndUnknownTypesAreIgnored)
{
    for (const char type : {'\x00', '\x01', '\x02', '\x05', '\x09', '\xff'}) {
        Receive(std::string{type, 0, 0});
    }
    EXPECT_TRUE(log_.Contains(" OnBytesReceived , messageType is 255"));
    EXPECT_EQ(log_.Count(" OnBytesReceived"), 12U) << "two lines each, and nothing else";
    EXPECT_TRUE(softBus_->AllSent().empty());
    EXPECT_TRUE(softBus_->AllClosed().empty());
}

TEST_F(DataListenerTest, ServingSideAnswersWithItsHotspotAndKeepsTheSessionOpen)
{
    const auto hotspot = registry_.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    hotspot->config.SetSsid("phone-net");
    hotspot->config.SetPreSharedKey(SECRET);
    for (const bool active : {false, true}) {
        hotspot->active = active;
        Receive(REQUEST);
        EXPECT_EQ(softBus_->AllSent().back().bytes, ResponseFrame(SUCCESS_ANSWER));
        EXPECT_EQ(hotspot->enables, 1) << "an active hotspot is not enabled again";
    }
    EXPECT_TRUE(softBus_->AllClosed().empty());

    softBus_->sendResult = SOFTBUS_NO_SUCH_SESSION;
    Receive(REQUEST);
    EXPECT_TRUE(log_.Contains(" SendStartHotspotResponseMessage error: 1004500123"));
    EXPECT_EQ(softBus_->AllClosed(), std::vector<int>{SESSION});
    EXPECT_FALSE(log_.Contains(SECRET));
}

TEST_F(DataListenerTest, ServingSideAnswersFailureAndClosesWhenTheHotspotFails)
{
    using Hotspot = Tests::FakeWifiHotspot;
    struct Case {
        int32_t Hotspot::*result;
        const char* logged;
    };
    for (const Case& c : {Case{&Hotspot::activeResult, " IsHotspotActive error: 2"},
                          Case{&Hotspot::enableResult, " Enable hotspot error: 2"},
                          Case{&Hotspot::configResult, " Get hotspot config error: 2"}}) {
        const auto hotspot = registry_.Add<Hotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
        (*hotspot).*(c.result) = Wifi::WIFI_DISABLED;
        const size_t closed = softBus_->AllClosed().size();
        Receive(REQUEST);
        EXPECT_TRUE(log_.Contains(c.logged)) << c.logged;
        EXPECT_EQ(softBus_->AllSent().back().bytes, ResponseFrame(FAILURE_ANSWER)) << c.logged;
        EXPECT_EQ(softBus_->AllClosed().size(), closed + 1) << c.logged;
    }
}

TEST_F(DataListenerTest, ServingSideIsSilentWithoutAHotspotService)
{
    Receive(REQUEST);
    EXPECT_TRUE(log_.Contains(" HandleMessageStartHotSpot start"));
    EXPECT_TRUE(softBus_->AllSent().empty());
    EXPECT_TRUE(softBus_->AllClosed().empty());
}

TEST_F(DataListenerTest, RequestingSidePostsHowJoiningWent)
{
    EXPECT_EQ(OutcomeOf(ResponseFrame(SUCCESS_ANSWER)), 0) << "without a Wi-Fi service the peer's part counts";
    const auto device = registry_.Add<Tests::FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
    EXPECT_EQ(OutcomeOf(ResponseFrame(FAILURE_ANSWER)), -97);
    EXPECT_EQ(OutcomeOf(ResponseFrame("nonsense")), 1004500115);
    EXPECT_TRUE(device->added.empty());

    EXPECT_EQ(OutcomeOf(ResponseFrame(SUCCESS_ANSWER)), 0);
    ASSERT_EQ(device->added.size(), 1U);
    EXPECT_EQ(device->added[0].ssid, "phone-net");
    EXPECT_EQ(device->added[0].preSharedKey, SECRET);
    EXPECT_EQ(device->added[0].keyMgmt, "WPA-PSK");

    device->connectResult = Wifi::WIFI_FAILED;
    EXPECT_EQ(OutcomeOf(ResponseFrame(SUCCESS_ANSWER)), -93);
    device->addResult = Wifi::WIFI_INVALID_CONFIG;
    EXPECT_EQ(OutcomeOf(ResponseFrame(SUCCESS_ANSWER)), -94);
    EXPECT_EQ(device->connects, 2) << "what could not be added is not connected to";
    EXPECT_EQ(softBus_->AllClosed(), std::vector<int>(6, SESSION)) << "posting closes the session";
    EXPECT_FALSE(log_.Contains(SECRET));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
