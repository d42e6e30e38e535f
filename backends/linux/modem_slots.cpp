#include "backends/linux/modem_slots.h"

#include <algorithm>
#include <tuple>
#include <vector>

namespace Vexo::Linux {
namespace {

using Telephony::SimState;

// The values of MMModemState that matter here.
constexpr int32_t STATE_FAILED = -1;
constexpr int32_t STATE_INITIALIZING = 1;
constexpr int32_t STATE_LOCKED = 2;
constexpr int32_t STATE_ENABLED = 6;
constexpr int32_t STATE_CONNECTING = 10;

// MMModemStateFailedReason
constexpr uint32_t FAILED_SIM_MISSING = 2;
constexpr uint32_t FAILED_SIM_ERROR = 3;
constexpr uint32_t FAILED_NO_ESIM_PROFILE = 5;

constexpr const char* NO_OBJECT = "/";

bool IsObject(const sdbus::ObjectPath& path)
{
    return !path.empty() && path != NO_OBJECT;
}

int32_t StateOf(const PropertyMap& modem)
{
    return ValueIn<int32_t>(modem, "State");
}

// The SIM that the modem uses.
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

// The slots of one modem, in their own order.
std::vector<ModemSlot> SlotsOfModem(const std::string& path, const PropertyMap& modem)
{
    const auto sims = ValueIn<std::vector<sdbus::ObjectPath>>(modem, "SimSlots");
    if (sims.size() < 2) {
        return {{path, SimInUse(modem)}};
    }
    // Counted from 1; 0 when the modem does not report it.
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

bool IsRadioOn(int32_t modemState)
{
    return modemState >= STATE_ENABLED;
}

bool MattersToSlots(const std::string& property)
{
    return property == "State" || property == "StateFailedReason" || property == "Sim" || property == "SimSlots" ||
           property == "PrimarySimSlot";
}

}  // namespace Vexo::Linux
