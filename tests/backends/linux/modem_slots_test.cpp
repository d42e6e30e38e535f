// What ModemManager says, as the slots of a device: the cases that no scripted modem can play.
#include "backends/linux/modem_slots.h"

#include <gtest/gtest.h>

#include <vector>

namespace Vexo::Linux {
namespace {

using Telephony::SimState;

struct Modem {
    std::string device{};
    int32_t state = 8;  // registered
    uint32_t failure = 0;
    std::string sim = "/SIM/0";
    std::vector<sdbus::ObjectPath> simSlots{};
    uint32_t primarySlot = 0;
};

ModemSlots SlotsOfModems(const std::vector<Modem>& modems)
{
    ManagedObjects objects;
    for (const Modem& modem : modems) {
        objects[sdbus::ObjectPath("/Modem/" + std::to_string(objects.size()))][MODEM_INTERFACE] = {
            {"Device", modem.device},
            {"State", modem.state},
            {"StateFailedReason", modem.failure},
            {"Sim", sdbus::ObjectPath(modem.sim)},
            {"SimSlots", modem.simSlots},
            {"PrimarySimSlot", modem.primarySlot}};
    }
    objects[sdbus::ObjectPath("/SIM/0")]["org.freedesktop.ModemManager1.Sim"] = {};
    return SlotsOf(objects);
}

TEST(ModemSlots, MapsModemsAndSlotsInTheOrderOfTheirDevices)
{
    const std::vector<sdbus::ObjectPath> both{sdbus::ObjectPath("/SIM/0"), sdbus::ObjectPath("/SIM/1")};
    const std::vector<sdbus::ObjectPath> secondOnly{sdbus::ObjectPath("/"), sdbus::ObjectPath("/SIM/1")};
    const ModemSlot empty{"", SimState::NOT_PRESENT};
    const struct {
        const char* name;
        std::vector<Modem> modems;
        std::array<ModemSlot, 2> slots;
    } cases[] = {
        {"none", {}, {empty, empty}},
        {"one", {{.device = "a"}}, {{{"/Modem/0", SimState::LOADED}, empty}}},
        {"two, the second found first",
         {{.device = "b", .state = 2}, {.device = "a"}},
         {{{"/Modem/1", SimState::LOADED}, {"/Modem/0", SimState::LOCKED}}}},
        {"two slots, the second in use",
         {{.device = "a", .sim = "/SIM/1", .simSlots = both, .primarySlot = 2}},
         {{{"", SimState::NOT_READY}, {"/Modem/0", SimState::LOADED}}}},
        {"two slots, the first empty and in use",
         {{.device = "a", .state = -1, .failure = 2, .simSlots = secondOnly, .primarySlot = 1}},
         {{{"/Modem/0", SimState::NOT_PRESENT}, {"", SimState::NOT_READY}}}},
        {"a third does not count",
         {{.device = "a", .simSlots = both, .primarySlot = 1}, {.device = "b"}},
         {{{"/Modem/0", SimState::LOADED}, {"", SimState::NOT_READY}}}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(SlotsOfModems(one.modems).slots, one.slots) << one.name;
    }
}

TEST(ModemSlots, TellsSimRadioAndDataByTheModemsState)
{
    const struct {
        int32_t state;
        uint32_t failure;
        const char* sim;
        SimState expected;
        bool isRadioOn;
        bool isDataOn;
    } cases[] = {
        {-1, 1, "/SIM/0", SimState::UNKNOWN, false, false},   {-1, 2, "/", SimState::NOT_PRESENT, false, false},
        {-1, 3, "/SIM/0", SimState::NOT_READY, false, false}, {-1, 5, "/SIM/0", SimState::NOT_PRESENT, false, false},
        {1, 0, "/", SimState::NOT_READY, false, false},       {2, 0, "/SIM/0", SimState::LOCKED, false, false},
        {3, 0, "/SIM/0", SimState::LOADED, false, false},     {3, 0, "/", SimState::NOT_PRESENT, false, false},
        {5, 0, "/SIM/0", SimState::LOADED, false, false},     {6, 0, "/SIM/0", SimState::LOADED, true, false},
        {8, 0, "/SIM/0", SimState::LOADED, true, false},      {10, 0, "/SIM/0", SimState::LOADED, true, true},
        {11, 0, "/SIM/0", SimState::LOADED, true, true},
    };
    for (const auto& one : cases) {
        const ModemSlots slots = SlotsOfModems({{.state = one.state, .failure = one.failure, .sim = one.sim}});
        EXPECT_EQ(slots.slots[0].sim, one.expected) << one.state << " " << one.failure;
        EXPECT_EQ(IsRadioOn(one.state), one.isRadioOn) << one.state;
        EXPECT_EQ(slots.isDataOn, one.isDataOn) << one.state;
    }
}

}  // namespace
}  // namespace Vexo::Linux
