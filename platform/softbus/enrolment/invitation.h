// Invitation: the holder's side of an enrolment by ticket, while a soft bus runs. It announces the device under the
// ticket's keys, answers joiners that prove the ticket's secret, and admits one of them once a person has confirmed it.
// What both sides say to each other: docs/enrolment.md. Created by the soft bus (SoftBusServer::Invite). Any thread; no
// call blocks.
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
    std::string networkId;  // of its key: 64 hex characters
    std::string number;     // six digits, the same on both devices unless somebody is between them
};

enum class InvitationPhase {
    WAITING,   // for a joiner
    ASKING,    // a joiner waits for Answer
    ADMITTED,  // the joiner is a member, and has its answer
    ENDED,     // expired, closed or failed; why says which
};

struct InvitationStatus {
    InvitationPhase phase = InvitationPhase::WAITING;
    std::string ticket;  // its text
    WallTime expires;
    Joiner joiner;    // ASKING, ADMITTED
    std::string why;  // WAITING: why the last joiner was turned away, or empty; ENDED: one phrase
};

// Admits the device with that PKCS#10 request (PEM), in the form of Trust::Admit: stores the new member, and returns
// the answer for it. Called on a strand, at most once at a time; may block on the disk.
using AdmitJoiner = std::function<Result<std::string>(const std::string& requestPem, const Joiner& joiner)>;
// Called on a strand after each change.
using InvitationChanged = std::function<void(const InvitationStatus& status)>;

// A name like the one that is taken, and free; empty: none. Called as AdmitJoiner.
using SuggestName = std::function<std::string(const std::string& taken)>;

struct InvitationOptions {
    // Of its errors, ALREADY_EXISTS means that the name is taken, REFUSED that the joiner's key was removed.
    AdmitJoiner admit;
    SuggestName suggestName;  // may be empty
    InvitationChanged changed;
    bool confirmsItself = false;  // admits the first joiner without Answer
};

class Invitation {
public:
    virtual ~Invitation() = default;  // closes it

    virtual InvitationStatus Status() const = 0;
    // The person's answer about the joiner with that network id. NOT_FOUND when it does not ask (any more). A joiner
    // that is turned away ends the invitation.
    [[nodiscard]] virtual Result<void> Answer(const std::string& networkId, bool admit) = 0;
    // Nobody can join with the ticket from now on; the soft bus still answers it until TICKET_MEMORY has passed.
    virtual void Close() = 0;
};

}  // namespace Vexo::SoftBus
