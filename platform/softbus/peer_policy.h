// PeerPolicy: decides whether another device of the account may use the service of this device. The platform asks it
// when the other device wakes the service, opens a session to it, or sends data. The other device gets the result at
// once: its request never waits for a person. The host provides the policy; without one every member may use the
// service.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/named_values.h"
#include "platform/base/nocopyable.h"

namespace Vexo::SoftBus {

// Why the owner of a device refuses another one. The values are sent to that device: as the result of an OPENED frame
// (link/frame.h) and as the code of the collaboration's ANSWER message (collaboration_message.h).
enum class PeerRefusal : int32_t {
    NONE = 0,              // not refused
    NOT_ALLOWED = -100,    // the owner does not allow this device
    OWNER_ASKED = -101,    // the owner is being asked now; a later request may succeed
    NOT_ANSWERED = -102,   // the owner has denied or ignored the request, and is not asked again for now
    BATTERY_FLOOR = -103,  // the battery is below the level that the owner set
    DATA_LIMIT = -104,     // the data volume that the owner set for a month is used up
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

// Returns NONE if value is not a refusal.
inline constexpr PeerRefusal PeerRefusalOf(int32_t value)
{
    return value >= FIRST_PEER_REFUSAL && value <= LAST_PEER_REFUSAL ? static_cast<PeerRefusal>(value)
                                                                     : PeerRefusal::NONE;
}

class PeerPolicy : public NoCopyable {
public:
    virtual ~PeerPolicy() = default;

    // Returns NONE if that device may use this device's service now, otherwise the reason why not. May start to ask the
    // owner. Called on the reactor thread and on threads of the elastic pool; must not block.
    virtual PeerRefusal Admit(const std::string& networkId) = 0;
    // Called when that device refused a request of this device to wake its service or to open a session, before the
    // requester gets its error. Called on the reactor thread and on the thread of StartCollaboration; must not block.
    virtual void OnRefusedBy(const std::string& networkId, PeerRefusal why) = 0;
};

}  // namespace Vexo::SoftBus
