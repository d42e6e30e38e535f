#include "tests/platform/telephony/telephony_contract.h"

#include "tests/backends/simulated/simulated_world.h"

namespace Vexo::Tests {
namespace {

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

INSTANTIATE_TEST_SUITE_P(Simulated, TelephonyContract, testing::Values([]() -> std::unique_ptr<TelephonyWorld> {
                             return std::make_unique<SimulatedTelephonyWorld>();
                         }));

}  // namespace
}  // namespace Vexo::Tests
