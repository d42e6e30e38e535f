// Tests the mapping from ModemManager's modems to the SIM slots of a device, with cases that scripted modems cannot
// produce.
#include "backends/linux/modem_slots.h"

#include <gtest/gtest.h>

#include <vector>

namespace Vexo::Linux {
namespace {

using Telephony::SimState;

struct Modem {
    std::string device{};
    int32_t state = 8;  // 8 is ModemManager's state "registered".
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

TEST(ModemSlots, MapsModemsToSlotsInDeviceOrder)
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

TEST(ModemSlots, TechnologyComesFromModemThatCarriesOrCouldCarryData)
{
    constexpr int32_t locked = 2;
    constexpr int32_t searching = 7;
    constexpr int32_t registered = 8;
    constexpr int32_t connected = 11;
    using Quality = sdbus::Struct<uint32_t, bool>;
    const auto modem = [](int32_t state, uint32_t technologies) {
        return PropertyMap{{"State", state},
                           {"Sim", sdbus::ObjectPath("/SIM/0")},
                           {"AccessTechnologies", technologies},
                           {"SignalQuality", Quality(61, true)}};
    };
    const struct {
        const char* name;
        std::vector<PropertyMap> modems;
        std::string technology;
        bool isDataOff;
    } cases[] = {
        {"none", {}, "", false},
        {"connected over LTE and 5G", {modem(connected, 0xc000)}, "5G", false},
        {"connected over LTE", {modem(connected, 0x4000)}, "4G", false},
        {"connected over HSPA+", {modem(connected, 0x200)}, "3G", false},
        {"connected over EDGE", {modem(connected, 0x10)}, "2G", false},
        {"switched off", {modem(registered, 0x4000)}, "4G", true},
        {"without coverage", {modem(searching, 0)}, "", false},
        {"locked", {modem(locked, 0)}, "", false},
        {"the second is connected", {modem(registered, 0x4000), modem(connected, 0x10)}, "2G", false},
    };
    for (const auto& one : cases) {
        ManagedObjects objects;
        for (const PropertyMap& properties : one.modems) {
            objects[sdbus::ObjectPath("/Modem/" + std::to_string(objects.size()))][MODEM_INTERFACE] = properties;
        }
        const MobileLink link = MobileLinkOf(objects);
        EXPECT_EQ(link.technology, one.technology) << one.name;
        EXPECT_EQ(link.isDataOff, one.isDataOff) << one.name;
        EXPECT_EQ(link.signalPercent, one.technology.empty() ? std::nullopt : std::optional<uint8_t>(61)) << one.name;
    }
}

}  // namespace
}  // namespace Vexo::Linux
