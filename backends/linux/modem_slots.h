// ModemSlots: maps ModemManager's modems to the SIM slots of a device. Slots 0 and 1 are two modems, or the two SIM
// slots of one modem; further ones are ignored. Pure functions. Any thread may call them.
// https://www.freedesktop.org/software/ModemManager/api/latest/
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "backends/linux/bus.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Linux {

inline constexpr const char* MODEM_INTERFACE = "org.freedesktop.ModemManager1.Modem";

// The answer of ModemManager's GetManagedObjects: path → interface → property → value.
using ManagedObjects = std::map<sdbus::ObjectPath, std::map<std::string, PropertyMap>>;

struct ModemSlot {
    std::string modem;  // the path of the modem whose radio serves this slot; empty: none does
    Telephony::SimState sim = Telephony::SimState::NOT_PRESENT;

    bool operator==(const ModemSlot&) const = default;
};

struct ModemSlots {
    std::array<ModemSlot, Telephony::SIM_SLOT_COUNT> slots;
    size_t modemCount = 0;
    bool isDataOn = false;  // a modem has a data connection, or is making one

    bool operator==(const ModemSlots&) const = default;
};

// Modems are ordered by their device's path in sysfs, which stays the same over a restart of ModemManager.
ModemSlots SlotsOf(const ManagedObjects& objects);

// The modem that carries this machine's mobile data, or would carry it.
struct MobileLink {
    std::string technology;                // "2G" to "5G"; empty: not known
    std::optional<uint8_t> signalPercent;  // no value: not known
    bool isDataOff = false;                // the modem is ready, but mobile data is switched off
};

MobileLink MobileLinkOf(const ManagedObjects& objects);

// Whether the radio of a modem in this state (property State) can carry calls and data.
bool IsRadioOn(int32_t modemState);

// Whether a change of that property may change the result of SlotsOf.
bool AffectsSlots(const std::string& property);

}  // namespace Vexo::Linux
