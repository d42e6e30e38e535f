// Checks that a backend keeps the contract of ICoreService and ICellularData. The test of a backend derives a class
// from TelephonyWorld and passes an object of that class to ExpectTelephonyContract.
#pragma once

#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "platform/telephony/core_service_client.h"
#include "tests/support/radio_answer.h"

namespace Vexo::Tests {

// A device with a ready SIM in slot 0 and nothing in slot 1.
class TelephonyWorld {
public:
    virtual ~TelephonyWorld() = default;
    virtual sptr<Telephony::ICoreService> Core() = 0;
    virtual sptr<Telephony::ICellularData> Data() = 0;
    // Turns the radio of SIM slot 0 on or off. Blocks until the radio has that state.
    virtual void SetRadio(bool isOn) = 0;
};

// Expects a SIM state for each slot. Expects exactly one answer to each radio query, and expects the answer on another
// thread.
inline void ExpectTelephonyContract(TelephonyWorld& world)
{
    const auto core = world.Core();
    auto sim = Telephony::SimState::UNKNOWN;
    EXPECT_EQ(core->GetSimState(0, sim), Telephony::TELEPHONY_OK);
    EXPECT_EQ(sim, Telephony::SimState::LOADED);
    EXPECT_EQ(core->GetSimState(1, sim), Telephony::TELEPHONY_OK);
    EXPECT_EQ(sim, Telephony::SimState::NOT_PRESENT);
    for (const int32_t slot : {-1, Telephony::SIM_SLOT_COUNT}) {
        EXPECT_EQ(core->GetSimState(slot, sim), Telephony::TELEPHONY_NO_SUCH_SLOT);
        EXPECT_EQ(core->GetRadioState(slot, MakeSptr<RadioAnswer>()), Telephony::TELEPHONY_NO_SUCH_SLOT);
    }
    EXPECT_EQ(core->GetRadioState(0, nullptr), Telephony::TELEPHONY_INVALID_ARGUMENT);
    bool isDataOn = true;
    EXPECT_EQ(world.Data()->IsCellularDataEnabled(isDataOn), Telephony::TELEPHONY_OK);
    EXPECT_FALSE(isDataOn);

    sptr<RadioAnswer> before;
    for (const bool isOn : {false, true, false}) {
        world.SetRadio(isOn);
        const auto answer = MakeSptr<RadioAnswer>();
        ASSERT_EQ(core->GetRadioState(0, answer), Telephony::TELEPHONY_OK);
        EXPECT_EQ(answer->answer.get_future().get(), std::make_pair(isOn, int32_t{Telephony::TELEPHONY_OK}));
        EXPECT_NE(answer->thread.load(), std::this_thread::get_id());
        EXPECT_TRUE(!before || before->calls == 1);
        const auto empty = MakeSptr<RadioAnswer>();
        ASSERT_EQ(core->GetRadioState(1, empty), Telephony::TELEPHONY_OK);
        EXPECT_EQ(empty->answer.get_future().get(), std::make_pair(false, int32_t{Telephony::TELEPHONY_OK}))
            << "the slot is empty";
        before = answer;
    }
}

}  // namespace Vexo::Tests
