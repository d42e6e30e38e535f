// WifiContract: a test suite of the contract of WifiHotspot and WifiDevice, which every backend keeps. The test of a
// backend derives a class from WifiWorld. It instantiates WifiContract with a function that creates an object of that
// class.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/wifi/station.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"
#include "tests/support/eventually.h"
#include "tests/support/recorded_sys_events.h"
#include "tests/support/recording_subscriber.h"

namespace Vexo::Tests {

enum class Security { OPEN, WPA2, WPA3 };

// Wraps the object in a shared_ptr, because callers of the Wi-Fi interfaces use shared_ptr.
template <typename T, typename U>
std::shared_ptr<T> Shared(const sptr<U>& object)
{
    return {object.GetRefPtr(), [object](T*) {}};
}

// Two devices within radio range of each other. One has a hotspot, and the other, the station, joins that hotspot.
class WifiWorld {
public:
    virtual ~WifiWorld() = default;
    virtual std::shared_ptr<Wifi::WifiHotspot> Hotspot() = 0;
    virtual std::shared_ptr<Wifi::WifiDevice> Station() = 0;
    // Configures the hotspot. Returns when the hotspot reports the new configuration. If the hotspot is on, also waits
    // until the station sees the new configuration.
    virtual void SetHotspot(const std::string& ssid, const std::string& key, Security security) = 0;
    // Adds a subscriber to the connectivity events of the device with the station.
    virtual void Subscribe(const std::shared_ptr<EventFwk::CommonEventSubscriber>& subscriber) = 0;
};

class WifiContract : public testing::TestWithParam<std::function<std::unique_ptr<WifiWorld>()>> {
protected:
    static constexpr const char* SSID = "Garden";
    static constexpr const char* KEY = "not-a-real-key";

    void SetUp() override
    {
        world_->Subscribe(events_);
        world_->SetHotspot(SSID, KEY, Security::WPA2);
    }

    // Tries again while the backend lacks an answer: a busy machine can need longer than the time limit of one call.
    void EnableHotspot()
    {
        int32_t result = Wifi::WIFI_NO_ANSWER;
        Eventually([&] {
            result = world_->Hotspot()->EnableHotspot(Wifi::ServiceType::DEFAULT);
            return result != Wifi::WIFI_NO_ANSWER;
        });
        ASSERT_EQ(result, Wifi::WIFI_OK);
    }

    static Wifi::WifiDeviceConfig Config(const std::string& ssid, const std::string& key, const std::string& keyMgmt)
    {
        return {-1, ssid, "", key, keyMgmt};
    }

    // Connects the station and waits for the result.
    Wifi::WifiLinkInfo Join(const Wifi::WifiDeviceConfig& config)
    {
        EXPECT_EQ(world_->Station()->ConnectToDevice(config), Wifi::WIFI_OK);
        return WaitWhile(Wifi::WifiLinkState::CONNECTING);
    }
    Wifi::WifiLinkInfo WaitWhile(Wifi::WifiLinkState state)
    {
        const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
        Wifi::WifiLinkInfo info = world_->Station()->GetLinkInfo();
        while (info.state == state && std::chrono::steady_clock::now() < deadline) {
            info = world_->Station()->WaitForChange(info, WAIT_LIMIT);
        }
        return info;
    }
    static std::string ConnectivityEvent(EventFwk::NetConnState state)
    {
        return EventFwk::CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE + " 1 " +
               std::to_string(static_cast<int32_t>(state));
    }

    const RecordedSysEvents sysEvents_;
    const std::unique_ptr<WifiWorld> world_ = GetParam()();
    const std::shared_ptr<RecordingSubscriber> events_ =
        RecordingSubscriber::To({EventFwk::CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE});
};

TEST_P(WifiContract, StationJoinsWithConfigReadRightAfterEnable)
{
    const std::tuple<Security, Wifi::KeyMgmt, const char*> cases[] = {
        {Security::OPEN, Wifi::KeyMgmt::NONE, "NONE"},
        {Security::WPA2, Wifi::KeyMgmt::WPA2_PSK, "WPA-PSK"},
        {Security::WPA3, Wifi::KeyMgmt::SAE, ""},
        {Security::WPA3, Wifi::KeyMgmt::SAE, "WPA-PSK"},
    };
    uint32_t attempt = 0;
    for (const auto& [security, keyMgmt, asked] : cases) {
        world_->SetHotspot(SSID, KEY, security);
        EnableHotspot();
        EnableHotspot();
        bool isActive = false;
        Wifi::HotspotConfig hotspot;
        EXPECT_EQ(world_->Hotspot()->IsHotspotActive(isActive), Wifi::WIFI_OK);
        EXPECT_TRUE(isActive);
        ASSERT_EQ(world_->Hotspot()->GetHotspotConfig(hotspot), Wifi::WIFI_OK);
        EXPECT_EQ(hotspot.GetSecurityType(), keyMgmt);
        EXPECT_EQ(hotspot.GetPreSharedKey(), security == Security::OPEN ? "" : KEY);

        const Wifi::WifiDeviceConfig config = Config(hotspot.GetSsid(), hotspot.GetPreSharedKey(), asked);
        int id = -1;
        EXPECT_EQ(world_->Station()->AddDeviceConfig(config, id, false), Wifi::WIFI_OK);
        const Wifi::WifiLinkInfo info = Join(config);
        EXPECT_EQ(info.state, Wifi::WifiLinkState::CONNECTED) << info.reason;
        std::vector<Wifi::WifiDeviceConfig> configs;
        EXPECT_EQ(world_->Station()->GetDeviceConfigs(configs, false), Wifi::WIFI_OK);
        EXPECT_TRUE(std::any_of(configs.begin(), configs.end(), [&](const Wifi::WifiDeviceConfig& one) {
            return one.networkId == id && !one.bssid.empty();
        }));
        EXPECT_EQ(info.attempt, ++attempt);
        EXPECT_FALSE(info.address.empty());
    }
}

TEST_P(WifiContract, ImpossibleJoinFailsWithReason)
{
    namespace Failure = Wifi::JoinFailure;
    const char* const differs = "security differs";
    const std::tuple<Security, Wifi::WifiDeviceConfig, const char*, std::string> cases[] = {
        {Security::WPA2, Config(SSID, "another-key", "WPA-PSK"), "wrong key", Failure::WRONG_KEY},
        {Security::WPA2, Config(SSID, "", ""), "needs a key", Failure::KEY_NEEDED},
        {Security::OPEN, Config(SSID, KEY, "WPA-PSK"), differs, Failure::SECURITY_DIFFERS},
        {Security::WPA2, Config(SSID, "", "NONE"), differs, Failure::SECURITY_DIFFERS},
        {Security::WPA2, Config(SSID, KEY, "WPA-EAP"), differs, Failure::SECURITY_DIFFERS},
        {Security::WPA2, Config("Cellar", KEY, ""), "no hotspot called \"Cellar\" is visible", Failure::NOT_VISIBLE},
    };
    EnableHotspot();
    const size_t earlierEvents = sysEvents_.Lines().size();  // an attempt without an answer writes one
    size_t failures = 0;
    for (const auto& [security, config, reason, word] : cases) {
        world_->SetHotspot(SSID, KEY, security);
        const Wifi::WifiLinkInfo info = Join(config);
        EXPECT_EQ(info.state, Wifi::WifiLinkState::FAILED);
        EXPECT_NE(info.reason.find(reason), std::string::npos) << info.reason;
        EXPECT_EQ(events_->WaitFor(++failures).back(), ConnectivityEvent(EventFwk::NetConnState::FAILED));
        EXPECT_EQ(sysEvents_.Lines().size() - earlierEvents, failures);
        EXPECT_EQ(sysEvents_.Lines().back(), "NET_WIFI_JOIN_FAIL REASON " + word);
    }
}

TEST_P(WifiContract, SsidWithAnyBytesIsPreserved)
{
    const std::string ssids[] = {"Gr\xc3\xbcn", std::string(32, '\0'), {"Cell\0\xe9\xff\x1b\\", 9}};
    for (const std::string& ssid : ssids) {
        world_->SetHotspot(ssid, KEY, Security::WPA2);
        EnableHotspot();
        Wifi::HotspotConfig hotspot;
        ASSERT_EQ(world_->Hotspot()->GetHotspotConfig(hotspot), Wifi::WIFI_OK);
        EXPECT_EQ(hotspot.GetSsid(), ssid);
        const Wifi::WifiLinkInfo info = Join(Config(ssid, KEY, ""));
        EXPECT_EQ(info.state, Wifi::WifiLinkState::CONNECTED) << info.reason;
        EXPECT_EQ(info.ssid, ssid);
    }
    // The visible SSID starts with "Cell" and a NUL byte. It must not match a configuration whose SSID is only "Cell".
    EXPECT_EQ(Join(Config("Cell", KEY, "")).state, Wifi::WifiLinkState::FAILED);
}

TEST_P(WifiContract, StationDisconnectsWhenHotspotEndsOrChangesKey)
{
    EnableHotspot();
    for (const bool ends : {false, true}) {
        ASSERT_EQ(Join(Config(SSID, KEY, "")).state, Wifi::WifiLinkState::CONNECTED);
        if (ends) {
            EXPECT_EQ(world_->Hotspot()->DisableHotspot(Wifi::ServiceType::DEFAULT), Wifi::WIFI_OK);
        } else {
            world_->SetHotspot(SSID, "another-key", Security::WPA2);
        }
        const Wifi::WifiLinkInfo info = WaitWhile(Wifi::WifiLinkState::CONNECTED);
        EXPECT_EQ(info.state, Wifi::WifiLinkState::DISCONNECTED);
        EXPECT_EQ(info.reason, ends ? "the hotspot is gone" : "wrong key");
        EXPECT_EQ(info.address, "");
        EXPECT_EQ(events_->WaitFor(ends ? 4 : 2).back(), ConnectivityEvent(EventFwk::NetConnState::DISCONNECTED));
        world_->SetHotspot(SSID, KEY, Security::WPA2);
    }
}

TEST_P(WifiContract, NewAttemptReplacesOldOneSilentlyAndWaitsForHotspot)
{
    for (const char* const ssid : {"Cellar", SSID}) {
        ASSERT_EQ(world_->Station()->ConnectToDevice(Config(ssid, KEY, "WPA-PSK")), Wifi::WIFI_OK);
        EXPECT_EQ(world_->Station()->GetLinkInfo().state, Wifi::WifiLinkState::CONNECTING);
    }
    EnableHotspot();
    const Wifi::WifiLinkInfo info = WaitWhile(Wifi::WifiLinkState::CONNECTING);
    EXPECT_EQ(info.state, Wifi::WifiLinkState::CONNECTED) << info.reason;
    EXPECT_EQ(info.attempt, 2U);
    EXPECT_EQ(info.ssid, SSID);
    EXPECT_EQ(events_->WaitFor(1), std::vector{ConnectivityEvent(EventFwk::NetConnState::CONNECTED)});
}

TEST_P(WifiContract, InvalidConfigurationIsRefused)
{
    const auto invalid = Wifi::WIFI_INVALID_CONFIG;
    const std::pair<Wifi::WifiDeviceConfig, int32_t> cases[] = {
        {Config("", KEY, ""), invalid},
        {Config(std::string(33, 's'), KEY, ""), invalid},
        {Config(SSID, "7 bytes", ""), invalid},
        {Config(SSID, std::string(64, 'k'), "WPA-PSK"), invalid},
        {Config(SSID, "", "WPA-PSK"), invalid},
        {Config(SSID, KEY, "NONE"), invalid},
        {Config(SSID, KEY, "CARRIER-PIGEON"), Wifi::WIFI_NOT_SUPPORTED},
    };
    for (const auto& [config, result] : cases) {
        int id = -1;
        EXPECT_EQ(world_->Station()->AddDeviceConfig(config, id, false), result) << config.ssid;
        EXPECT_EQ(world_->Station()->ConnectToDevice(config), result) << config.ssid;
        EXPECT_EQ(id, -1);
    }
    EXPECT_EQ(world_->Station()->GetLinkInfo().attempt, 0U);
}

}  // namespace Vexo::Tests
