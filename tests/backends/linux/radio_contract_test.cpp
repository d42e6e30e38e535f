// Checks that the Linux backend (with NetworkManager and ModemManager) keeps the contracts of the Wi-Fi and telephony
// interfaces.
#include <array>

#include "backends/linux/telephony.h"
#include "tests/backends/linux/wifi_world.h"
#include "tests/platform/telephony/telephony_contract.h"
#include "tests/platform/wifi/wifi_contract.h"

namespace Vexo::Tests {
namespace {

class NetworkManagerWorld : public WifiWorld {
public:
    NetworkManagerWorld()
    {
        phone_.Start();
        laptop_.Start();
    }
    std::shared_ptr<Wifi::WifiHotspot> Hotspot() override { return Shared<Wifi::WifiHotspot>(phone_.Hotspot()); }
    std::shared_ptr<Wifi::WifiDevice> Station() override { return Shared<Wifi::WifiDevice>(laptop_.Station()); }
    void SetHotspot(const std::string& ssid, const std::string& key, Security security) override
    {
        constexpr std::array keyMgmts{Wifi::KeyMgmt::NONE, Wifi::KeyMgmt::WPA2_PSK, Wifi::KeyMgmt::SAE};
        const Linux::SettingsMap profile = HotspotProfile(ssid, key, keyMgmts.at(static_cast<size_t>(security)));
        const std::string path = Air::StoreProfile(phone_.Bus(), profile);
        // NetworkManager applies new settings to an active profile only when the profile is activated again.
        const Linux::NetworkManager manager{std::shared_ptr<Linux::Bus>(&phone_.Bus(), [](Linux::Bus*) {})};
        if (const auto radios = manager.Radios(); radios && phone_.IsHotspotOn()) {
            EXPECT_TRUE(manager.Activate(path, radios.value().front().path));
            EXPECT_TRUE(Eventually([&] {
                const auto now = manager.Radios();
                return now && now.value().front().IsHotspot() && now.value().front().state == Linux::NM_STATE_ACTIVATED;
            }));
        }
    }
    void Subscribe(const std::shared_ptr<EventFwk::CommonEventSubscriber>& subscriber) override
    {
        laptop_.Events().SubscribeCommonEvent(subscriber);
    }

private:
    Air air_;
    WifiMachine phone_{air_.Phone().Address(), "phone"};
    WifiMachine laptop_{air_.Laptop().Address(), "laptop"};
};

INSTANTIATE_TEST_SUITE_P(NetworkManager, WifiContract, testing::Values([]() -> std::unique_ptr<WifiWorld> {
                             return std::make_unique<NetworkManagerWorld>();
                         }));

class LinuxTelephonyWorld : public TelephonyWorld {
public:
    LinuxTelephonyWorld()
    {
        machine_.StartModemManager();
        machine_.AddModem("a", "READY");
        EXPECT_TRUE(
            EndToEnd::Eventually([this] { return modems_->Get().slots[0].sim == Telephony::SimState::LOADED; }));
    }
    ~LinuxTelephonyWorld() override { modems_->Stop(); }
    sptr<Telephony::ICoreService> Core() override { return core_; }
    sptr<Telephony::ICellularData> Data() override { return MakeSptr<Linux::LinuxCellularData>(modems_); }
    void SetRadio(bool isOn) override
    {
        const Result<void> set = machine_.Bus().Call(
            {"org.freedesktop.ModemManager1", modems_->Get().slots[0].modem, Linux::MODEM_INTERFACE}, "Enable",
            EndToEnd::PATIENCE, isOn);
        EXPECT_TRUE(set) << set.error().message;
    }

private:
    PrivateMachine machine_;
    const std::shared_ptr<Linux::Modems> modems_ =
        std::make_shared<Linux::Modems>(Linux::Bus::Open(machine_.Address()), [](const Linux::Presence&) {});
    const sptr<Linux::LinuxCoreService> core_ = MakeSptr<Linux::LinuxCoreService>(modems_);
};

TEST(TelephonyContract, SlotsAndRadioAreAnswered)
{
    LinuxTelephonyWorld world;
    ExpectTelephonyContract(world);
}

}  // namespace
}  // namespace Vexo::Tests
