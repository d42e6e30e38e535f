// PeerPolicy: decides whether another device of the account may use the service of this device. The platform asks the
// policy when the other device starts the service, opens a session to this device, or sends data to the service. The
// policy answers at once, so the other device never waits for a person. The host provides the policy. Without a policy
// every member of the account may use the service.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/named_values.h"
#include "platform/base/nocopyable.h"

namespace Vexo::SoftBus {

// Why the owner of this device refuses another device. The value is sent to the refused device: as the result of an
// OPENED frame (link/frame.h), or as the code of the collaboration's ANSWER message (collaboration_message.h).
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

// The names of the values, for log lines and events.
inline constexpr NamedValue<PeerRefusal> PEER_REFUSAL_NAMES[] = {{"NONE", PeerRefusal::NONE},
                                                                 {"NOT_ALLOWED", PeerRefusal::NOT_ALLOWED},
                                                                 {"OWNER_ASKED", PeerRefusal::OWNER_ASKED},
                                                                 {"NOT_ANSWERED", PeerRefusal::NOT_ANSWERED},
                                                                 {"BATTERY_FLOOR", PeerRefusal::BATTERY_FLOOR},
                                                                 {"DATA_LIMIT", PeerRefusal::DATA_LIMIT}};

// Returns NONE if the number is not a PeerRefusal.
inline constexpr PeerRefusal PeerRefusalOf(int32_t value)
{
    return value >= FIRST_PEER_REFUSAL && value <= LAST_PEER_REFUSAL ? static_cast<PeerRefusal>(value)
                                                                     : PeerRefusal::NONE;
}

class PeerPolicy : public NoCopyable {
public:
    virtual ~PeerPolicy() = default;

    // Returns NONE if the device with that network id may use this device's service now. Otherwise returns why the
    // other device may not. May start to ask the owner of this device. Called on the reactor thread and on threads of
    // the elastic pool. Must not block.
    virtual PeerRefusal Admit(const std::string& networkId) = 0;
    // Returns whether a message requests something from the service of this device, for example that it opens the
    // hotspot. In a session that this device has opened, the platform calls Admit only for such messages: all others
    // are answers. Called on the reactor thread and on session strands. Must not block.
    virtual bool IsRequest(std::string_view message) const = 0;
    // Called when the device with that network id has refused to start its service for this device, or to open a
    // session with this device. The caller on this device gets the error after this call. Called on the reactor thread
    // and on the thread of StartCollaboration. Must not block.
    virtual void OnRefusedBy(const std::string& networkId, PeerRefusal why) = 0;
};

}  // namespace Vexo::SoftBus
