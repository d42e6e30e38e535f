#include "backends/linux/modem_slots.h"

#include <algorithm>
#include <tuple>
#include <vector>

namespace Vexo::Linux {
namespace {

using Telephony::SimState;

// The values of MMModemState that this file uses.
constexpr int32_t STATE_FAILED = -1;
constexpr int32_t STATE_INITIALIZING = 1;
constexpr int32_t STATE_LOCKED = 2;
constexpr int32_t STATE_ENABLED = 6;
constexpr int32_t STATE_SEARCHING = 7;
constexpr int32_t STATE_CONNECTING = 10;

// Values of MMModemStateFailedReason.
constexpr uint32_t FAILED_SIM_MISSING = 2;
constexpr uint32_t FAILED_SIM_ERROR = 3;
constexpr uint32_t FAILED_NO_ESIM_PROFILE = 5;

// The bits of MMModemAccessTechnology for each generation, the newest first.
constexpr std::array<std::pair<uint32_t, const char*>, 4> GENERATIONS{{
    {0x8000, "5G"},   // 5G NR
    {0x34000, "4G"},  // LTE, LTE-M, NB-IoT
    {0x3be0, "3G"},   // UMTS, HSPA, EV-DO
    {0x41e, "2G"},    // GSM, GPRS, EDGE, 1xRTT
}};

constexpr const char* NO_OBJECT = "/";

bool IsObject(const sdbus::ObjectPath& path)
{
    return !path.empty() && path != NO_OBJECT;
}

int32_t StateOf(const PropertyMap& modem)
{
    return ValueIn<int32_t>(modem, "State");
}

// Returns the state of the SIM that the modem uses.
SimState SimInUse(const PropertyMap& modem)
{
    const int32_t state = StateOf(modem);
    if (state == STATE_FAILED) {
        switch (ValueIn<uint32_t>(modem, "StateFailedReason")) {
            case FAILED_SIM_MISSING:
            case FAILED_NO_ESIM_PROFILE:
                return SimState::NOT_PRESENT;
            case FAILED_SIM_ERROR:
                return SimState::NOT_READY;
            default:
                return SimState::UNKNOWN;
        }
    }
    if (state == STATE_LOCKED) {
        return SimState::LOCKED;
    }
    if (state <= STATE_INITIALIZING) {
        return SimState::NOT_READY;
    }
    return IsObject(ValueIn<sdbus::ObjectPath>(modem, "Sim")) ? SimState::LOADED : SimState::NOT_PRESENT;
}

// Returns the slots of one modem, in the modem's order.
std::vector<ModemSlot> SlotsOfModem(const std::string& path, const PropertyMap& modem)
{
    const auto sims = ValueIn<std::vector<sdbus::ObjectPath>>(modem, "SimSlots");
    if (sims.size() < 2) {
        return {{path, SimInUse(modem)}};
    }
    // PrimarySimSlot counts from 1; it is 0 if the modem does not report it.
    const size_t primary = std::max<size_t>(ValueIn<uint32_t>(modem, "PrimarySimSlot"), 1) - 1;
    std::vector<ModemSlot> slots;
    for (size_t i = 0; i < sims.size(); ++i) {
        if (i == primary) {
            slots.push_back({path, SimInUse(modem)});
        } else {
            slots.push_back({"", IsObject(sims[i]) ? SimState::NOT_READY : SimState::NOT_PRESENT});
        }
    }
    return slots;
}

}  // namespace

ModemSlots SlotsOf(const ManagedObjects& objects)
{
    std::vector<std::tuple<std::string, std::string, const PropertyMap*>> modems;
    for (const auto& [path, interfaces] : objects) {
        if (const auto modem = interfaces.find(MODEM_INTERFACE); modem != interfaces.end()) {
            modems.emplace_back(ValueIn<std::string>(modem->second, "Device"), path, &modem->second);
        }
    }
    std::sort(modems.begin(), modems.end());
    ModemSlots result;
    result.modemCount = modems.size();
    size_t next = 0;
    for (const auto& [device, path, modem] : modems) {
        result.isDataOn = result.isDataOn || StateOf(*modem) >= STATE_CONNECTING;
        for (ModemSlot& slot : SlotsOfModem(path, *modem)) {
            if (next < result.slots.size()) {
                result.slots[next++] = std::move(slot);
            }
        }
    }
    return result;
}

MobileLink MobileLinkOf(const ManagedObjects& objects)
{
    MobileLink link;
    const PropertyMap* ready = nullptr;
    for (const auto& [path, interfaces] : objects) {
        const auto modem = interfaces.find(MODEM_INTERFACE);
        if (modem == interfaces.end() || SimInUse(modem->second) != SimState::LOADED) {
            continue;
        }
        if (ready == nullptr || StateOf(modem->second) > StateOf(*ready)) {
            ready = &modem->second;
        }
    }
    if (ready == nullptr) {
        return link;
    }
    // A modem that searches for a network has no coverage, so switching mobile data on would not help.
    link.isDataOff = StateOf(*ready) < STATE_CONNECTING && StateOf(*ready) != STATE_SEARCHING;
    const auto technologies = ValueIn<uint32_t>(*ready, "AccessTechnologies");
    for (const auto& [bits, name] : GENERATIONS) {
        if ((technologies & bits) != 0) {
            link.technology = name;
            break;
        }
    }
    using Quality = sdbus::Struct<uint32_t, bool>;
    if (const auto quality = ready->find("SignalQuality"); quality != ready->end() && technologies != 0) {
        link.signalPercent = static_cast<uint8_t>(std::min(std::get<0>(ValueOf<Quality>(quality->second)), 100U));
    }
    return link;
}

bool IsRadioOn(int32_t modemState)
{
    return modemState >= STATE_ENABLED;
}

bool AffectsSlots(const std::string& property)
{
    return property == "State" || property == "StateFailedReason" || property == "Sim" || property == "SimSlots" ||
           property == "PrimarySimSlot";
}

}  // namespace Vexo::Linux
