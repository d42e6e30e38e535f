// ModemSlots: maps ModemManager's modems to the SIM slots of this device. The slots 0 and 1 are two modems, or the two
// SIM slots of one modem. Further slots are ignored. Pure functions. Any thread may call them.
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

// The reply of ModemManager's method GetManagedObjects: object path → interface → property → value.
using ManagedObjects = std::map<sdbus::ObjectPath, std::map<std::string, PropertyMap>>;

struct ModemSlot {
    std::string modem;  // the path of the modem whose radio uses this slot; empty: no modem
    Telephony::SimState sim = Telephony::SimState::NOT_PRESENT;

    bool operator==(const ModemSlot&) const = default;
};

struct ModemSlots {
    std::array<ModemSlot, Telephony::SIM_SLOT_COUNT> slots;
    size_t modemCount = 0;
    bool isDataOn = false;  // a modem has a data connection or is establishing one

    bool operator==(const ModemSlots&) const = default;
};

// Returns the slots of these modems. The modems are ordered by their device's path in sysfs, because this path stays
// the same when ModemManager restarts.
ModemSlots SlotsOf(const ManagedObjects& objects);

// The state of the modem that has the mobile data connection, or that would have it if mobile data were on.
struct MobileLink {
    std::string technology;                // "2G" to "5G"; empty: not known
    std::optional<uint8_t> signalPercent;  // no value: not known
    bool isDataOff = false;                // the modem is ready, but mobile data is switched off
};

MobileLink MobileLinkOf(const ManagedObjects& objects);

// Whether a modem's radio can be used for calls and data. modemState: the value of the modem's property State.
bool IsRadioOn(int32_t modemState);

// Whether a change of the given modem property may change the result of SlotsOf.
bool AffectsSlots(const std::string& property);

}  // namespace Vexo::Linux
