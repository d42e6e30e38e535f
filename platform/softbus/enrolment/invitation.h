// Invitation: one ticket, and the enrolment by it, on the device that holds the account's key and runs a soft bus. The
// device announces itself with tokens derived from the ticket, answers joiners that prove the ticket's secret, and
// admits one of them after a person has confirmed it. Protocol: docs/enrolment.md. Created by SoftBusServer::Invite.
// Any thread; no call blocks.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::SoftBus {

// A device that asks to join.
struct Joiner {
    std::string name;
    uint16_t type = 0;      // DeviceTypeId
    std::string networkId;  // 64 hex characters
    std::string number;     // six digits, the same on both devices unless the link is intercepted
};

enum class InvitationPhase {
    WAITING,   // no joiner asks
    ASKING,    // a joiner waits for Answer
    ADMITTED,  // the joiner is a member; its answer was sent
    ENDED,     // expired, closed or failed; InvitationStatus::why says which
};

struct InvitationStatus {
    InvitationPhase phase = InvitationPhase::WAITING;
    std::string ticket;  // the text of the ticket
    WallTime expires;
    Joiner joiner;    // in ASKING and ADMITTED
    std::string why;  // WAITING: why the last joiner was rejected, or empty; ENDED: one phrase
};

// Admits the device of that PKCS#10 request (PEM), as Trust::Admit does: stores the new member, and returns the answer
// for it. Called on a strand, one call at a time; may block on the disk.
using AdmitJoiner = std::function<Result<std::string>(const std::string& requestPem, const Joiner& joiner)>;
// Called on a strand after each change.
using InvitationChanged = std::function<void(const InvitationStatus& status)>;

// Returns a free name similar to the one that is taken; empty: none. Called on the strand of AdmitJoiner.
using SuggestName = std::function<std::string(const std::string& taken)>;

struct InvitationOptions {
    // Error ALREADY_EXISTS means that the name is taken; REFUSED, that the account has removed the joiner's key.
    AdmitJoiner admit;
    SuggestName suggestName;  // may be empty
    InvitationChanged changed;
    bool confirmsItself = false;  // admits the first joiner without Answer
};

class Invitation {
public:
    virtual ~Invitation() = default;  // closes the invitation

    virtual InvitationStatus Status() const = 0;
    // Admits or rejects the joiner with that network id, as the person decided. Returns NOT_FOUND if that joiner does
    // not ask (any more). A rejection ends the invitation.
    [[nodiscard]] virtual Result<void> Answer(const std::string& networkId, bool admit) = 0;
    // Closes the invitation: no device can join with the ticket any more. Until TICKET_MEMORY has passed, the soft bus
    // answers joiners with the reason.
    virtual void Close() = 0;
};

}  // namespace Vexo::SoftBus
