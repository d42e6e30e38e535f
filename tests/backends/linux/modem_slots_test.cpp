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
        {"failed for another reason",
         {{.device = "a", .state = -1, .failure = 1}},
         {{{"/Modem/0", SimState::UNKNOWN}, empty}}},
        {"a SIM in error", {{.device = "a", .state = -1, .failure = 3}}, {{{"/Modem/0", SimState::NOT_READY}, empty}}},
        {"starting", {{.device = "a", .state = 1, .sim = "/"}}, {{{"/Modem/0", SimState::NOT_READY}, empty}}},
        {"enabled without a SIM", {{.device = "a", .sim = "/"}}, {{{"/Modem/0", SimState::NOT_PRESENT}, empty}}},
        {"a third does not count",
         {{.device = "a", .simSlots = both, .primarySlot = 1}, {.device = "b"}},
         {{{"/Modem/0", SimState::LOADED}, {"", SimState::NOT_READY}}}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(SlotsOfModems(one.modems).slots, one.slots) << one.name;
    }
}

}  // namespace
}  // namespace Vexo::Linux
