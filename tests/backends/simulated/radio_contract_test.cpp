// Checks that the simulated device keeps the contracts of the Wi-Fi and telephony interfaces.
#include <array>

#include "platform/base/utf8.h"
#include "tests/backends/simulated/simulated_world.h"
#include "tests/platform/telephony/telephony_contract.h"
#include "tests/platform/wifi/wifi_contract.h"

namespace Vexo::Tests {
namespace {

class SimulatedWifiWorld : public WifiWorld {
public:
    std::shared_ptr<Wifi::WifiHotspot> Hotspot() override { return Shared<Wifi::WifiHotspot>(phone_.Hotspot()); }
    std::shared_ptr<Wifi::WifiDevice> Station() override { return Shared<Wifi::WifiDevice>(laptop_.Station()); }
    void SetHotspot(const std::string& ssid, const std::string& key, Security security) override
    {
        const auto wanted = static_cast<Simulated::HotspotSecurity>(security);
        phone_.Set({"hotspot.ssid=" + EscapeBytes(ssid), "hotspot.key=" + key,
                    std::string("hotspot.security=") + Simulated::SecurityName(wanted)});
        const bool isOpen = security == Security::OPEN;
        const std::string proof = isOpen ? "" : Simulated::MakeKeyProof(ssid, key);
        const std::array keyMgmts{Wifi::KeyMgmt::NONE, Wifi::KeyMgmt::WPA2_PSK, Wifi::KeyMgmt::SAE};
        EXPECT_TRUE(Eventually([&] {
            Wifi::HotspotConfig config;
            bool isActive = false;
            phone_.Hotspot()->GetHotspotConfig(config);
            phone_.Hotspot()->IsHotspotActive(isActive);
            const auto air = phone_.Air();
            return config.GetSsid() == ssid && config.GetPreSharedKey() == (isOpen ? "" : key) &&
                   config.GetSecurityType() == keyMgmts.at(static_cast<size_t>(security)) &&
                   (!isActive || (air.size() == 1 && air[0].security == wanted && air[0].keyProof == proof));
        }));
    }
    void Subscribe(const std::shared_ptr<EventFwk::CommonEventSubscriber>& subscriber) override
    {
        laptop_.Events()->SubscribeCommonEvent(subscriber);
    }

private:
    TempFolder folder_;
    TestDevice phone_{folder_.Path(), "phone", "7f3a11"};
    TestDevice laptop_{folder_.Path(), "laptop", "b04d22"};
};

INSTANTIATE_TEST_SUITE_P(Simulated, WifiContract, testing::Values([]() -> std::unique_ptr<WifiWorld> {
                             return std::make_unique<SimulatedWifiWorld>();
                         }));

class SimulatedTelephonyWorld : public TelephonyWorld {
public:
    sptr<Telephony::ICoreService> Core() override { return device_.Core(); }
    sptr<Telephony::ICellularData> Data() override { return device_.Data(); }
    void SetRadio(bool isOn) override
    {
        const bool isNews = std::exchange(isOn_, isOn) != isOn;
        device_.Set({std::string("radio.0=") + (isOn ? "on" : "off")});
        EXPECT_TRUE(!isNews || log_.WaitFor(std::string("radio.0: ") + (isOn ? "on" : "off")));
    }

private:
    const TempFolder folder_;
    const LogCapture log_;
    bool isOn_ = false;
    TestDevice device_{folder_.Path(),
                       "phone",
                       "7f3a11",
                       {"sims.0.state=loaded", "sims.1.state=not_present", "radio.0=off", "cellular_data=false"}};
};

TEST(TelephonyContract, SlotsAndRadioAreAnswered)
{
    SimulatedTelephonyWorld world;
    ExpectTelephonyContract(world);
}

}  // namespace
}  // namespace Vexo::Tests
