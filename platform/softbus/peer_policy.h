// PeerPolicy: whether another device of the account may use the service of this one. The platform asks it when the
// device wakes the service, and when it opens a session of the service; the other device gets the answer at once as a
// reason, so that its request never waits for a person. The host provides one; without one every member may.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/named_values.h"
#include "platform/base/nocopyable.h"

namespace Vexo::SoftBus {

// Why the owner of a device refuses another one. The values travel between devices: as the result of an OPENED frame
// (softbus_types.h) and as the code of the collaboration's ANSWER.
enum class PeerRefusal : int32_t {
    NONE = 0,              // not refused
    NOT_ALLOWED = -100,    // the owner does not allow this device
    OWNER_ASKED = -101,    // the owner is being asked now; a later request may succeed
    NOT_ANSWERED = -102,   // the owner was asked, and has denied or ignored it; not asked again for now
    BATTERY_FLOOR = -103,  // the battery is below the owner's floor
    DATA_LIMIT = -104,     // the month's bytes are used up
};
inline constexpr int32_t FIRST_PEER_REFUSAL = -104;
inline constexpr int32_t LAST_PEER_REFUSAL = -100;

// For log lines and events.
inline constexpr NamedValue<PeerRefusal> PEER_REFUSAL_NAMES[] = {{"NONE", PeerRefusal::NONE},
                                                                 {"NOT_ALLOWED", PeerRefusal::NOT_ALLOWED},
                                                                 {"OWNER_ASKED", PeerRefusal::OWNER_ASKED},
                                                                 {"NOT_ANSWERED", PeerRefusal::NOT_ANSWERED},
                                                                 {"BATTERY_FLOOR", PeerRefusal::BATTERY_FLOOR},
                                                                 {"DATA_LIMIT", PeerRefusal::DATA_LIMIT}};

// NONE for a value that is no refusal.
inline constexpr PeerRefusal PeerRefusalOf(int32_t value)
{
    return value >= FIRST_PEER_REFUSAL && value <= LAST_PEER_REFUSAL ? static_cast<PeerRefusal>(value)
                                                                     : PeerRefusal::NONE;
}

class PeerPolicy : public NoCopyable {
public:
    virtual ~PeerPolicy() = default;

    // Whether that device may use this device's service now. May begin to ask the owner. Called on the reactor and on
    // threads of the pool; must not block.
    virtual PeerRefusal Admit(const std::string& networkId) = 0;
    // That device has refused this one, which had asked to wake its service or to open a session. Called before the
    // caller's own failure. The same threads; must not block.
    virtual void OnRefusedBy(const std::string& networkId, PeerRefusal why) = 0;
};

}  // namespace Vexo::SoftBus
