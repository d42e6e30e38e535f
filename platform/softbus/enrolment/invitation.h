// Invitation: one ticket on the device that holds the account's key, and the enrolment of one other device by this
// ticket. The device announces itself with tokens that are derived from the ticket. It answers other devices that prove
// that they have the ticket. It admits one of them after a person has confirmed that device. Protocol:
// docs/enrolment.md. Created by SoftBusServer::Invite. Thread-safe. No call blocks.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::SoftBus {

// A device that asks to join the account.
struct Joiner {
    std::string name;
    uint16_t type = 0;      // DeviceTypeId
    std::string networkId;  // 64 hex characters
    std::string number;     // six digits; the same on both devices, unless somebody intercepts the link
};

enum class InvitationPhase {
    WAITING,   // no device asks to join
    ASKING,    // a device asks to join and waits for the call of Answer
    ADMITTED,  // the joiner is a member, and the enrolment answer was sent to it
    ENDED,     // the ticket has expired, or the invitation was closed or has failed; see InvitationStatus::why
};

struct InvitationStatus {
    InvitationPhase phase = InvitationPhase::WAITING;
    std::string ticket;  // the ticket as text
    WallTime expires;
    Joiner joiner;    // set in ASKING and ADMITTED
    std::string why;  // WAITING: why the last joiner was rejected, or empty. ENDED: why the invitation ended
};

// Makes the device that sent this PKCS#10 request (PEM) a member of the account, as Trust::Admit does. Stores the new
// member, and returns the enrolment answer to send to it. Called on a strand, one call at a time. May block on the
// disk.
using AdmitJoiner = std::function<Result<std::string>(const std::string& requestPem, const Joiner& joiner)>;
// Called on a strand after each change of the status.
using InvitationChanged = std::function<void(const InvitationStatus& status)>;

// Returns a free device name that is similar to a name that another device has. Returns an empty string if there is no
// suggestion. Called on the strand of AdmitJoiner. taken: the name of the other device.
using SuggestName = std::function<std::string(const std::string& taken)>;

struct InvitationOptions {
    // Adds the joiner to the account. Errors: ALREADY_EXISTS if another device has the joiner's name, REFUSED if the
    // account has removed the joiner's key.
    AdmitJoiner admit;
    SuggestName suggestName;  // may be empty
    InvitationChanged changed;
    bool confirmsItself = false;  // admits the first joiner without a call of Answer
};

class Invitation {
public:
    virtual ~Invitation() = default;  // closes the invitation

    virtual InvitationStatus Status() const = 0;
    // Admits or rejects the joiner with that network id, as the person decided. Returns NOT_FOUND if that joiner is not
    // asking now. A rejection ends the invitation.
    [[nodiscard]] virtual Result<void> Answer(const std::string& networkId, bool admit) = 0;
    // Closes the invitation, so no device can join with the ticket any more. The soft bus still answers joiners with
    // the reason why they cannot join, until Trust::TICKET_ANSWER_TIME has passed.
    virtual void Close() = 0;
};

}  // namespace Vexo::SoftBus
