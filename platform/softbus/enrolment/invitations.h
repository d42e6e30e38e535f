// Invitations: the tickets of a soft bus, each for as long as it is answered (ticket_holder.h). One is open at a time,
// and the newest is announced. Open on any thread; Withdraw blocks; the rest on the reactor thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/enrolment/invitation.h"
#include "platform/softbus/enrolment/ticket_holder.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

class Invitations : public NoCopyable {
public:
    // timers outlives it.
    Invitations(const ReactorContext& context, Tasks::Timers& timers) : context_(context), timers_(timers) {}

    // address: for the ticket; empty: channels announce it. make: channels that announce this device.
    [[nodiscard]] Result<std::shared_ptr<Invitation>> Open(InvitationOptions options, const std::string& account,
                                                           const std::string& address, std::function<Channels()> make)
        EXCLUDES(mutex_);

    // Whether the first message of a connection proves one of the tickets. Accept takes that connection next.
    bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) EXCLUDES(mutex_);
    void Accept(Stream stream, const std::string& firstMessage);
    // A period of announcements has begun.
    void Announce() EXCLUDES(mutex_);
    // Ends all announcements; blocks until that is done. No invitation is opened from now on.
    void Withdraw() EXCLUDES(mutex_);
    void Stop() EXCLUDES(mutex_);

private:
    using HolderPtr = std::shared_ptr<TicketHolder>;

    [[nodiscard]] Result<HolderPtr> MakeHolder(InvitationOptions options, const std::string& account,
                                               const std::string& address, std::function<Channels()> make) const;
    std::vector<HolderPtr> Holders() const EXCLUDES(mutex_);

    const ReactorContext& context_;
    Tasks::Timers& timers_;
    HolderPtr proven_;  // by the last proof, until Accept
    mutable Mutex mutex_;
    std::vector<HolderPtr> holders_ GUARDED_BY(mutex_);  // the newest last
    bool isStopped_ GUARDED_BY(mutex_) = false;
};

// The address at which a device that listens there is reached on its LAN, for a ticket; empty: none over IPv4.
std::string AddressForTicket(const std::string& listening);

}  // namespace Vexo::SoftBus
