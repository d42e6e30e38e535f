#include "tests/platform/telephony/telephony_contract.h"

#include "backends/linux/telephony.h"
#include "tests/backends/linux/private_machine.h"

namespace Vexo::Tests {
namespace {

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

INSTANTIATE_TEST_SUITE_P(Linux, TelephonyContract, testing::Values([]() -> std::unique_ptr<TelephonyWorld> {
                             return std::make_unique<LinuxTelephonyWorld>();
                         }));

}  // namespace
}  // namespace Vexo::Tests
